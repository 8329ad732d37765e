#pragma once

#include <memory>
#include <string>

namespace vmr {

class SystemLog;
struct PlatformError;

/// Says what only the host can mend, once until a request has succeeded. Used by one thread.
class RequestTrouble {
public:
    explicit RequestTrouble(const std::shared_ptr<SystemLog> &log) : log_(log) {}

    void note(const PlatformError &error);
    void clear() { told_.clear(); }

private:
    const std::shared_ptr<SystemLog> log_;
    std::string told_;
};

} // namespace vmr
