#include "support/ScriptedHTTPSession.h"

#include <utility>

namespace vmr::test {

struct ScriptedHTTPSession::Task final : HTTPDataTask {
    Task(std::shared_ptr<Shared> taskShared, HTTPRequest taskRequest, Completion taskCompletion)
        : shared(std::move(taskShared)), request(std::move(taskRequest)),
          completion(std::move(taskCompletion)) {}
    void resume() override {
        const MutexLock lock(shared->mutex);
        shared->sent.emplace_back(request, completion);
        if (shared->onSent)
            shared->onSent(request);
    }

    std::shared_ptr<Shared> shared;
    HTTPRequest request;
    Completion completion;
};

std::shared_ptr<HTTPDataTask> ScriptedHTTPSession::dataTaskWithRequest(HTTPRequest request,
                                                                       Completion completion) {
    return std::make_shared<Task>(shared_, std::move(request), std::move(completion));
}

std::vector<HTTPRequest> ScriptedHTTPSession::sent() const {
    const MutexLock lock(shared_->mutex);
    std::vector<HTTPRequest> requests;
    for (const auto &exchange : shared_->sent)
        requests.push_back(exchange.first);
    return requests;
}

void ScriptedHTTPSession::answer(std::size_t index, std::int64_t status, std::string body) {
    complete(index, HTTPOutcome{std::nullopt, status, Data(std::move(body))});
}

void ScriptedHTTPSession::complete(std::size_t index, const HTTPOutcome &outcome) {
    Completion completion;
    {
        const MutexLock lock(shared_->mutex);
        completion = std::exchange(shared_->sent.at(index).second, nullptr);
    }
    completion(outcome);
}

} // namespace vmr::test
