#pragma once

#include "platform/HTTPSession.h"
#include "platform/SystemLog.h"

#include <string>

namespace vmr {

/// What a session does about each exchange, whoever sends: calls its completion, and says what only
/// the host can mend.
class ExchangeAccount {
public:
    explicit ExchangeAccount(SystemLog &log) : log_(log) {}

    SystemLog &log() const { return log_; }
    /// What the completion holds goes, too.
    void complete(HTTPSession::Completion &&completion, const HTTPOutcome &outcome) noexcept;

    /// Said once until a request has succeeded. This and the next are used by one thread.
    void noteTrouble(const PlatformError &error);
    void clearTrouble() { told_.clear(); }

private:
    SystemLog &log_;
    std::string told_;
};

} // namespace vmr
