#include "network/ExchangeVerdict.h"

#include "platform/Format.h"
#include "platform/JSON.h"

#include <variant>

namespace vmr {
namespace {

void judgeOK(const Data &body, ExchangeVerdict &verdict) {
    if (body.empty())
        return;
    auto read = readJSON(body.bytes());
    if (const auto *error = std::get_if<PlatformError>(&read))
        verdict.failure = formatText("-> unable to create an object from the received data: %@",
                                     error->description());
    else
        verdict.object = std::get<Value>(std::move(read));
}

/// What the service says of its refusal; "(null)" when that is not JSON.
std::string failureTextIn(const Data &body) {
    const auto read = readJSON(body.bytes());
    const Value *object = std::get_if<Value>(&read);
    return formatText("%@", object ? *object : Value());
}

} // namespace

ExchangeVerdict judgeExchange(const HTTPOutcome &outcome) {
    ExchangeVerdict verdict;
    if (outcome.error) {
        verdict.failure =
            formatText("-> request failed with error: %@", outcome.error->description());
        return verdict;
    }
    if (!outcome.statusCode) {
        verdict.failure = "-> received a non-http response";
        return verdict;
    }
    verdict.status = *outcome.statusCode;
    if (verdict.status == 200)
        judgeOK(outcome.body, verdict);
    else if (verdict.status == 401)
        verdict.failure = "-> failed to connect to server, incorrect key";
    else if (!outcome.body.empty())
        verdict.failure = failureTextIn(outcome.body);
    else
        verdict.failure =
            formatText("-> received a response with http status code %ld", verdict.status);
    return verdict;
}

} // namespace vmr
