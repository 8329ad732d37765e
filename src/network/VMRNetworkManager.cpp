#include "network/VMRNetworkManager.h"

#include "errors/VMRError.h"
#include "facade/VMRDebugLog.h"
#include "network/DataCoding.h"
#include "network/ExchangeReport.h"
#include "network/ExchangeVerdict.h"
#include "platform/BackgroundTasks.h"
#include "platform/Clock.h"
#include "platform/Format.h"
#include "platform/HTTPSession.h"
#include "platform/InterceptionGuard.h"
#include "platform/JSON.h"
#include "platform/NotificationCenter.h"
#include "platform/Platform.h"
#include "platform/RunLoop.h"
#include "platform/RunThen.h"

#include <strings.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <new>

namespace vmr {
namespace {

/// Shared by a request's completion and its expiration; whichever runs second finds the task ended.
using BackgroundTaskCell = std::atomic<BackgroundTasks::Identifier>;

/// Shared by what waits for its end, with the handlers of whoever asked.
struct Exchange {
    std::shared_ptr<VMRNetworkManager> manager;
    std::string url;
    VMRSuccessHandler successHandler;
    VMRErrorHandler errorHandler;
    std::shared_ptr<BackgroundTaskCell> backgroundTask;
    VMRIngestType kind;
    std::size_t events;
    std::chrono::steady_clock::time_point begun;
};
using Held = std::shared_ptr<const Exchange>;

std::string queryOf(const Dictionary &params) {
    std::string pieces;
    for (const auto &[key, value] : params) {
        if (!pieces.empty())
            pieces += "&";
        pieces += formatText("%@=%@", key, value);
    }
    return formatText("?%@", pieces);
}

void setHeader(HTTPRequest &request, const std::string &name, std::string value) {
    const auto existing = std::ranges::find_if(request.headers, [&](const auto &header) {
        return strcasecmp(header.first.c_str(), name.c_str()) == 0;
    });
    if (existing != request.headers.end())
        existing->second = std::move(value);
    else
        request.headers.emplace_back(name, std::move(value));
}

std::optional<Data> makeBody(const Value &params, bool isGZIP) {
    if (!isValidJSONObject(params))
        return std::nullopt;
    if (!isGZIP)
        return Data(writeJSON(params, JSONStyle::compact));
    std::optional<Data> body = gzippedJSON(params);
    if (!body) // no body at all would go out as an empty one
        throw std::bad_alloc();
    return body;
}

void setBody(HTTPRequest &request, const std::optional<Dictionary> &params, bool isGZIP) {
    const Value object = params ? Value::dictionary(*params) : Value();
    request.body = HTTPBody([object, isGZIP] { return makeBody(object, isGZIP); });
    if (isDebugLogEnabled()) {
        request.body.make(); // where there is no memory for it, its size is 0
        writeDebugLine(formatText("-> is GZip: %d ; data size: %lu bytes ", isGZIP ? 1 : 0,
                                  request.body.size()));
    }
}

void endBackgroundTask(BackgroundTaskCell &cell) {
    platform().backgroundTasks->endBackgroundTask(cell.exchange(BackgroundTasks::invalid));
}

std::shared_ptr<BackgroundTaskCell> beginBackgroundTask() {
    auto cell = std::make_shared<BackgroundTaskCell>(BackgroundTasks::invalid);
    *cell = platform().backgroundTasks->beginBackgroundTask("VMRHttpRequest",
                                                            [cell] { endBackgroundTask(*cell); });
    return cell;
}

std::shared_ptr<VMRError> failureRecord(const std::string &url, const ExchangeVerdict &verdict) {
    Dictionary details;
    putText(details, "url", url);
    putText(details, "status_code", formatText("%ld", verdict.status));
    putText(details, "response", verdict.failure.value_or(""));
    return std::make_shared<VMRError>("iOS HttpError", std::nullopt, std::nullopt,
                                      std::move(details));
}

/// How an exchange ends: who is told, and of what.
struct Ending {
    /// Outlives the handlers, and what they hold.
    std::shared_ptr<ExchangeReport> report = std::make_shared<ExchangeReport>();
    std::shared_ptr<const Exchange> exchange;
    /// What the success handler is given, where it is one.
    Value object;
    std::int64_t status = 0;
    std::shared_ptr<VMRError> record;
    bool isToldToDelegate = true;

    void tell() const {
        if (report->delivered) {
            if (exchange->successHandler)
                exchange->successHandler(object);
            return;
        }
        if (exchange->errorHandler)
            exchange->errorHandler(status, record);
        const auto delegate = isToldToDelegate ? exchange->manager->delegate() : nullptr;
        if (delegate)
            delegate->networkManager(*exchange->manager, status);
    }
};

std::shared_ptr<Ending> endingOf(const Held &exchange, const HTTPOutcome &outcome) {
    auto ending = std::make_shared<Ending>();
    ending->exchange = exchange;
    ending->status = outcome.statusCode.value_or(0);
    ExchangeReport &report = *ending->report;
    report.kind = exchange->kind;
    report.status = outcome.statusCode;
    report.events = exchange->events;
    report.bytes = outcome.bodyBytes;
    report.duration =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - exchange->begun).count();
    report.ended = platform().clock->now();
    return ending;
}

/// Has the main queue tell who asked, and then the host.
void queueEnd(const std::shared_ptr<Ending> &ending) {
    platform().runLoops->mainQueue().async([ending] {
        runThen([&] { ending->tell(); },
                [&] {
                    platform().notificationCenter->postNotification(VMRExchangeDidEndNotification,
                                                                    ending->report.get());
                });
    });
}

void complete(const Held &exchange, const HTTPOutcome &outcome) {
    try {
        const auto ending = endingOf(exchange, outcome);
        ending->report->error = outcome.error;
        const ExchangeVerdict verdict = judgeExchange(outcome);
        ending->report->delivered = !verdict.failure;
        ending->status = verdict.status;
        ending->object = verdict.object;
        lastExchange().set(ending->report);
        if (verdict.failure) {
            debugLog("%@", verdict.failure);
            ending->record = failureRecord(exchange->url, verdict);
        }
        queueEnd(ending);
    } catch (...) {
        // Too little memory for the response. Its end is queued last, so it is not yet; whoever
        // waits for it must hear of it all the same.
        queueEnd(endingOf(exchange, outcome));
    }
    endBackgroundTask(*exchange->backgroundTask);
}

std::size_t batchSizeIn(const std::optional<Dictionary> &params) {
    const Value batch = params ? valueForKey(*params, "batch") : Value();
    return batch.asList() != nullptr ? batch.asList()->size() : 0;
}

} // namespace

void VMRNetworkManager::setApiKey(const std::optional<std::string> &apiKey, const Secret &secret,
                                  const std::weak_ptr<VMRNetworkManagerDelegate> &delegate) {
    debugLog("NetworkManager setApiKey:secret:");
    setApiKey(apiKey);
    setSecret(secret);
    setDelegate(delegate);
}

void VMRNetworkManager::requestWithMethodType(VMRHttpMethodType methodType, bool isGZIP,
                                              std::string url, const Dictionary &headers,
                                              const std::optional<Dictionary> &params,
                                              VMRSuccessHandler successHandler,
                                              VMRErrorHandler errorHandler, VMRIngestType kind) {
    const bool isGet = methodType == VMRHttpMethodTypeGET;
    // The values are not percent-encoded, and an existing query is not looked for: the service
    // expects them as they are.
    if (isGet && params && !params->empty())
        url += queryOf(*params);

    HTTPRequest request;
    request.url = url;
    request.method = httpMethodTypeString(methodType);
    for (const auto &[name, value] : headers)
        setHeader(request, name, value.description());
    if (!isGet)
        setBody(request, params, isGZIP);

    const auto exchange = std::make_shared<const Exchange>(Exchange{
        shared_from_this(), url, std::move(successHandler), std::move(errorHandler),
        beginBackgroundTask(), kind, batchSizeIn(params), std::chrono::steady_clock::now()});
    const InterceptionGuard::Decision decision = platform().interceptionGuard->decide(url);
    if (decision.allowed)
        return platform().httpSession->send(
            std::move(request),
            [exchange](const HTTPOutcome &outcome) { complete(exchange, outcome); });
    // The background task stays open: only its expiration ends it.
    const auto ending = endingOf(exchange, {});
    ending->isToldToDelegate = false;
    ending->report->error = platformError(
        NSURLErrorDomain, static_cast<std::int64_t>(URLErrorCode::cancelled), decision.reason);
    lastExchange().set(ending->report);
    queueEnd(ending);
}

void VMRNetworkManager::requestWithType(VMRHttpRequestType, const Dictionary &,
                                        const std::vector<std::string> &, VMRSuccessHandler,
                                        VMRErrorHandler) {}

std::optional<std::string_view> VMRNetworkManager::httpMethodTypeString(VMRHttpMethodType type) {
    static constexpr const char *names[] = {"GET", "POST", "PUT", "DELETE"}; // from 1 on
    const auto index = static_cast<std::size_t>(type) - 1;
    return index < std::size(names) ? std::optional<std::string_view>(names[index]) : std::nullopt;
}

std::optional<std::string>
VMRNetworkManager::httpRequestTypeString(VMRHttpRequestType type,
                                         const std::vector<std::string> &urlData) {
    if (type != VMRHttpRequestTypeDevices || urlData.empty())
        return std::nullopt;
    return formatText("devices/%@", urlData.front());
}

} // namespace vmr
