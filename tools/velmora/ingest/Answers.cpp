#include "ingest/Answers.h"

#include <utility>

namespace velmora::ingest {

void Answers::change(const std::function<void()> &work) {
    {
        const std::lock_guard lock(mutex_);
        work();
    }
    changed_();
}

Answer Answers::take() {
    std::optional<Answer> next;
    {
        const std::lock_guard lock(mutex_);
        next = std::exchange(next_, std::nullopt);
        if (!next)
            return current_;
    }
    changed_();
    return std::move(*next);
}

Answer Answers::current() const {
    const std::lock_guard lock(mutex_);
    return current_;
}

std::optional<Answer> Answers::next() const {
    const std::lock_guard lock(mutex_);
    return next_;
}

void Answers::setStatus(int status) {
    // The body and the delay stay; what made the answer a fault goes.
    change([&] {
        Answer answer;
        answer.status = status;
        answer.body = std::move(current_.body);
        answer.delay = current_.delay;
        current_ = std::move(answer);
    });
}

void Answers::setBody(std::string body) {
    change([&] {
        current_.body = std::move(body);
        current_.fault.clear();
    });
}

void Answers::setDelay(double seconds) {
    change([&] {
        current_.delay = std::chrono::duration<double>(seconds);
        current_.fault.clear();
    });
}

void Answers::set(Answer answer) {
    change([&] {
        current_ = std::move(answer);
        next_.reset();
    });
}

void Answers::setNext(Answer answer) {
    change([&] { next_ = std::move(answer); });
}

} // namespace velmora::ingest
