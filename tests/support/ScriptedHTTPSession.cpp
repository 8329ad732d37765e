#include "support/ScriptedHTTPSession.h"

#include <utility>

namespace vmr::test {

void ScriptedHTTPSession::send(HTTPRequest request, Completion completion) {
    const MutexLock lock(mutex_);
    sent_.emplace_back(request, std::move(completion));
    if (onSent_)
        onSent_(request);
}

std::vector<HTTPRequest> ScriptedHTTPSession::sent() const {
    const MutexLock lock(mutex_);
    std::vector<HTTPRequest> requests;
    for (const auto &exchange : sent_)
        requests.push_back(exchange.first);
    return requests;
}

void ScriptedHTTPSession::answer(std::size_t index, std::int64_t status, std::string body) {
    complete(index, HTTPOutcome{std::nullopt, status, Data(std::move(body))});
}

void ScriptedHTTPSession::complete(std::size_t index, const HTTPOutcome &outcome) {
    Completion completion;
    {
        const MutexLock lock(mutex_);
        completion = std::exchange(sent_.at(index).second, nullptr);
    }
    completion(outcome);
}

} // namespace vmr::test
