#include "network/VMRNetworkManager.h"

#include "errors/VMRError.h"
#include "facade/VMRDebugLog.h"
#include "network/DataCoding.h"
#include "network/ExchangeReport.h"
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

/// A request on its way, with the handlers of whoever asked, and how it ends.
struct Exchange {
    /// Outlives the handlers, and what they hold.
    std::shared_ptr<ExchangeReport> report = std::make_shared<ExchangeReport>();
    std::shared_ptr<VMRNetworkManager> manager;
    std::string url;
    VMRSuccessHandler successHandler;
    VMRErrorHandler errorHandler;
    std::shared_ptr<BackgroundTaskCell> backgroundTask;
    std::chrono::steady_clock::time_point begun = std::chrono::steady_clock::now();
    /// What the success handler is given, where it is one.
    Value object;
    std::int64_t status = 0;
    std::shared_ptr<VMRError> record;
    bool isToldToDelegate = true;

    void noteEnd(const HTTPOutcome &outcome) {
        status = outcome.error ? 0 : outcome.statusCode.value_or(0);
        report->status = outcome.statusCode;
        report->bytes = outcome.bodyBytes;
        report->duration =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count();
        report->ended = platform().clock->now();
    }

    void tell() const {
        if (report->delivered) {
            if (successHandler)
                successHandler(object);
            return;
        }
        if (errorHandler)
            errorHandler(status, record);
        const auto delegate = isToldToDelegate ? manager->delegate() : nullptr;
        if (delegate)
            delegate->networkManager(*manager, status);
    }
};
using Held = std::shared_ptr<Exchange>;

std::string queryOf(const Dictionary &params) {
    std::string query;
    for (const auto &[key, value] : params)
        query += formatText("%@%@=%@", query.empty() ? "?" : "&", key, value);
    return query;
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

void setBody(HTTPRequest &request, const Value &params, bool isGZIP) {
    request.body = HTTPBody([params, isGZIP] { return makeBody(params, isGZIP); });
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

/// Has the main queue tell who asked, and then the host.
void queueEnd(const Held &exchange) {
    platform().runLoops->mainQueue().async([exchange] {
        runThen([&] { exchange->tell(); },
                [&] {
                    platform().notificationCenter->postNotification(VMRExchangeDidEndNotification,
                                                                    exchange->report.get());
                });
    });
}

/// What went wrong; empty exactly where the exchange succeeded. Only status 200 is success: other
/// 2xx are failures like any error status. `object` becomes what the body of a success held.
std::string failureOf(const HTTPOutcome &outcome, Value &object) {
    if (outcome.error)
        return formatText("-> request failed with error: %@", outcome.error->description());
    if (!outcome.statusCode)
        return "-> received a non-http response";
    const bool isOK = outcome.statusCode == 200;
    if (outcome.statusCode == 401)
        return "-> failed to connect to server, incorrect key";
    if (outcome.body.empty())
        return isOK ? std::string()
                    : formatText("-> received a response with http status code %ld",
                                 *outcome.statusCode);
    const Expected<Value> read = readJSON(outcome.body.bytes());
    const Value *answer = std::get_if<Value>(&read);
    // What the service says of its refusal; "(null)" when that is not JSON.
    if (!isOK)
        return formatText("%@", answer ? *answer : Value());
    if (!answer)
        return formatText("-> unable to create an object from the received data: %@",
                          std::get<PlatformError>(read).description());
    object = *answer;
    return {};
}

std::shared_ptr<VMRError> failureRecord(const Exchange &exchange, const std::string &failure) {
    Dictionary details;
    putText(details, "url", exchange.url);
    putText(details, "status_code", formatText("%ld", exchange.status));
    putText(details, "response", failure);
    return std::make_shared<VMRError>("iOS HttpError", std::nullopt, std::nullopt,
                                      std::move(details));
}

void complete(const Held &exchange, const HTTPOutcome &outcome) {
    exchange->noteEnd(outcome);
    try {
        exchange->report->error = outcome.error;
        const std::string failure = failureOf(outcome, exchange->object);
        exchange->report->delivered = failure.empty();
        lastExchange().set(exchange->report);
        if (!failure.empty()) {
            debugLog("%@", failure);
            exchange->record = failureRecord(*exchange, failure);
        }
        queueEnd(exchange);
    } catch (...) {
        // Too little memory for the response. Its end is queued last, so it is not yet; whoever
        // waits for it must hear of it all the same.
        queueEnd(exchange);
    }
    endBackgroundTask(*exchange->backgroundTask);
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
                                              const Value &params, VMRSuccessHandler successHandler,
                                              VMRErrorHandler errorHandler, VMRIngestType kind) {
    const Dictionary *entries = params.asDictionary();
    const bool isGet = methodType == VMRHttpMethodTypeGET;
    // The values are not percent-encoded, and an existing query is not looked for: the service
    // expects them as they are.
    if (isGet && entries)
        url += queryOf(*entries);

    HTTPRequest request;
    request.url = url;
    request.method = httpMethodTypeString(methodType);
    for (const auto &[name, value] : headers)
        setHeader(request, name, value.description());
    if (!isGet)
        setBody(request, params, isGZIP);

    const auto exchange = std::make_shared<Exchange>();
    exchange->manager = shared_from_this();
    exchange->url = std::move(url);
    exchange->successHandler = std::move(successHandler);
    exchange->errorHandler = std::move(errorHandler);
    exchange->backgroundTask = beginBackgroundTask();
    exchange->report->kind = kind;
    const Value batch = entries ? valueForKey(*entries, "batch") : Value();
    exchange->report->events = batch.asList() ? batch.asList()->size() : 0;
    const InterceptionGuard::Decision decision =
        platform().interceptionGuard->decide(exchange->url);
    if (decision.allowed)
        return platform().httpSession->send(
            std::move(request),
            [exchange](const HTTPOutcome &outcome) { complete(exchange, outcome); });
    // The background task stays open: only its expiration ends it.
    exchange->noteEnd({});
    exchange->isToldToDelegate = false;
    exchange->report->error = platformError(
        NSURLErrorDomain, static_cast<std::int64_t>(URLErrorCode::cancelled), decision.reason);
    lastExchange().set(exchange->report);
    queueEnd(exchange);
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
