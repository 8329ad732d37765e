#pragma once

#include "ingest/Answers.h"
#include "page/Journal.h"

#include <string>

namespace velmora::page {

/// What a page is told about the service.
struct Service {
    /// Of this run of the program: the page hands it back with every change. Also tells a page that
    /// the service was restarted.
    std::string token;
    std::string listening;
    bool hasKey = false;
    bool hasSecret = false;
    /// Of a recording that is shown; else empty.
    std::string recording;
    std::string notice;
};

/// One page's stream of server-sent events: "hello" with everything that does not change, then
/// "state" whenever it does, and "request" for each row. The identifier of an event is RUN-NUMBER,
/// so that a page that comes back gets what it missed, and a page of an earlier run everything.
class Stream {
public:
    /// `lastId`: the last event that the page has seen; empty at its start.
    Stream(const Service &service, const Journal &journal, const ingest::Answers *answers,
           const std::string &lastId);

    /// The next text to send; waits for it, and says something every few seconds in any case.
    std::string next();

private:
    std::string hello() const;
    std::string stateEvent(const Journal::State &state) const;

    const Service &service_;
    const Journal &journal_;
    const ingest::Answers *answers_;
    std::string run_;
    bool isGreeted_ = false;
    Journal::State seen_;
};

} // namespace velmora::page
