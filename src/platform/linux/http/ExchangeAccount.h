#pragma once

#include "platform/Activity.h"
#include "platform/HTTPSession.h"
#include "platform/SystemLog.h"

#include <memory>
#include <string>

namespace vmr {

/// What a session does about each exchange, whoever sends: counts it while it is under way, calls
/// its completion, and says what only the host can mend.
class ExchangeAccount {
public:
    ExchangeAccount(const std::shared_ptr<SystemLog> &log,
                    const std::shared_ptr<Activity> &activity)
        : log_(log), activity_(activity) {}

    SystemLog &log() const { return *log_; }
    void begin() noexcept { activity_->begin(); }
    void end(HTTPSession::Completion &&completion, const HTTPOutcome &outcome) noexcept;

    /// Said once until a request has succeeded. This and the next are used by one thread.
    void noteTrouble(const PlatformError &error);
    void clearTrouble() { told_.clear(); }

private:
    const std::shared_ptr<SystemLog> log_;
    const std::shared_ptr<Activity> activity_;
    std::string told_;
};

} // namespace vmr
