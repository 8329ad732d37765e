#pragma once

#include "collect/Sink.h"

#include <chrono>

struct MHD_Connection;

namespace velmora::collect {

/// A request on its way to an answer. One at a time has it: the server's loop, until the request is
/// whole; then whoever it is handed on to, until `answer`.
class Exchange {
public:
    ingest::Request request;
    ingest::Kind kind = ingest::Kind::Consents;
    std::string peer;
    /// What the request brought, once it is found sound.
    Delivery delivery;

    /// Decides the answer, with a sentence for people where it is a refusal.
    void decide(int status, std::string why = {}) {
        status_ = status;
        why_ = std::move(why);
    }
    /// Decides it and gives the exchange back to the loop: the last thing that is done with it.
    void answer(int status, std::string why = {});
    /// Gives back those that are decided, at least one; the loop is woken once.
    static void giveBack(std::vector<Exchange *> decided);
    /// 0: not decided.
    int status() const { return status_; }
    const std::string &why() const { return why_; }

private:
    friend class HttpServer;

    /// Those that were given back with this one: the loop's own thread is quick to resume them.
    void resumeOthers();

    MHD_Connection *connection_ = nullptr;
    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
    int status_ = 0;
    std::string why_;
    std::vector<Exchange *> givenBack_;
    /// Of the body, in the budget.
    std::size_t held_ = 0;
    bool hasHead_ = false;
    bool isAnswered_ = false;
};

} // namespace velmora::collect
