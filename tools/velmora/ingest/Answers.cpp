#include "ingest/Answers.h"

namespace velmora::ingest {

Answer Answers::current() const {
    const std::lock_guard lock(mutex_);
    return current_;
}

void Answers::setStatus(int status) {
    const std::lock_guard lock(mutex_);
    current_.status = status;
}

void Answers::setBody(std::string body) {
    const std::lock_guard lock(mutex_);
    current_.body = std::move(body);
}

void Answers::setDelay(double seconds) {
    const std::lock_guard lock(mutex_);
    current_.delay = std::chrono::duration<double>(seconds);
}

} // namespace velmora::ingest
