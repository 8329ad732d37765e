#pragma once

#include "fleet/SdkRequests.h"

#include <curl/curl.h>

#include <chrono>
#include <functional>
#include <unordered_map>

namespace velmora::fleet {

/// Sends requests over connections that are kept open, many at a time. Used on one thread.
class Sender {
public:
    /// Told of each request's end: status 0 for no answer.
    using Ended = std::function<void(std::uint32_t device, int status, double seconds,
                                     const WireRequest &request)>;

    /// `certificates`: a PEM file to trust; empty: the system's.
    Sender(std::size_t most, std::string certificates, Ended ended);
    Sender(const Sender &) = delete;
    Sender &operator=(const Sender &) = delete;
    ~Sender();

    bool isFull() const { return open_.size() >= most_; }
    bool isIdle() const { return open_.empty(); }
    void send(std::uint32_t device, WireRequest request);
    /// Works for a while, at most until something ended.
    void work(std::chrono::milliseconds time);

private:
    struct Exchange {
        std::uint32_t device;
        WireRequest request;
        curl_slist *headers;
        std::chrono::steady_clock::time_point begin;
    };
    CURL *handle();
    void finish(CURL *handle, bool isAnswered);

    const std::size_t most_;
    const std::string certificates_;
    const Ended ended_;
    CURLM *multi_;
    std::unordered_map<CURL *, Exchange> open_;
    std::vector<CURL *> spare_;
};

} // namespace velmora::fleet
