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

/// Allocates nothing.
ExchangeReport reportOf(const Exchange &exchange, const HTTPOutcome &outcome) {
    ExchangeReport report;
    report.kind = exchange.kind;
    report.status = outcome.statusCode;
    report.events = exchange.events;
    report.bytes = outcome.bodyBytes;
    report.duration =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - exchange.begun).count();
    report.ended = platform().clock->now();
    return report;
}

/// Has the main queue do what follows from the end of an exchange, and then tell the host of it.
void queueEnd(std::shared_ptr<const ExchangeReport> report, std::function<void()> work) {
    platform().runLoops->mainQueue().async([report = std::move(report), work = std::move(work)] {
        runThen(work, [&] {
            platform().notificationCenter->postNotification(VMRExchangeDidEndNotification,
                                                            report.get());
        });
    });
}

void queueFailure(const Held &exchange, std::int64_t status, std::shared_ptr<VMRError> record,
                  std::shared_ptr<const ExchangeReport> report) {
    queueEnd(std::move(report), [exchange, status, record = std::move(record)] {
        if (exchange->errorHandler)
            exchange->errorHandler(status, record);
        if (const auto delegate = exchange->manager->delegate())
            delegate->networkManager(*exchange->manager, status);
    });
}

void complete(const Held &exchange, const HTTPOutcome &outcome) {
    const ExchangeReport bare = reportOf(*exchange, outcome);
    try {
        const auto report = std::make_shared<ExchangeReport>(bare);
        report->error = outcome.error;
        const ExchangeVerdict verdict = judgeExchange(outcome);
        report->delivered = !verdict.failure;
        lastExchange().set(report);
        if (report->delivered) {
            queueEnd(report, [exchange, object = verdict.object] {
                if (exchange->successHandler)
                    exchange->successHandler(object);
            });
        } else {
            debugLog("%@", verdict.failure);
            queueFailure(exchange, verdict.status, failureRecord(exchange->url, verdict), report);
        }
    } catch (...) {
        // Too little memory for the response. Its end is queued last, so it is not yet; whoever
        // waits for it must hear of it all the same.
        queueFailure(exchange, outcome.statusCode.value_or(0), nullptr,
                     std::make_shared<const ExchangeReport>(bare));
    }
    endBackgroundTask(*exchange->backgroundTask);
}

std::size_t batchSizeIn(const std::optional<Dictionary> &params) {
    const Value batch = params ? valueForKey(*params, "batch") : Value();
    return batch.asList() != nullptr ? batch.asList()->size() : 0;
}

} // namespace

void VMRNetworkManager::setApiKey(std::optional<std::string> apiKey, Secret secret,
                                  std::weak_ptr<VMRNetworkManagerDelegate> delegate) {
    debugLog("NetworkManager setApiKey:secret:");
    setApiKey(std::move(apiKey));
    setSecret(std::move(secret));
    setDelegate(std::move(delegate));
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
    const auto report = std::make_shared<ExchangeReport>(reportOf(*exchange, {}));
    report->error = platformError(
        NSURLErrorDomain, static_cast<std::int64_t>(URLErrorCode::cancelled), decision.reason);
    lastExchange().set(report);
    queueEnd(report, [exchange] {
        if (exchange->errorHandler)
            exchange->errorHandler(0, nullptr);
    });
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
