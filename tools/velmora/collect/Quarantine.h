#pragma once

#include "ingest/Request.h"

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>

namespace velmora::collect {

/// A folder of requests that will never be right, for people to look at: NAME.json tells what is
/// wrong, NAME.body is the body as received. The newest are kept, 10,000 of at most 256 MiB. From
/// any thread.
class Quarantine {
public:
    /// Makes the folder where there is none. Throws std::runtime_error with a sentence.
    explicit Quarantine(std::string folder);

    /// The name under which the request is kept; empty when it could not be.
    std::string keep(const ingest::Request &request, const std::string &why,
                     const std::string &peer);

private:
    struct Kept {
        std::string name;
        std::uintmax_t bytes;
    };
    void makeRoomLocked();
    std::string pathOf(const std::string &name) const { return folder_ + "/" + name; }

    const std::string folder_;
    std::mutex mutex_;
    std::deque<Kept> kept_;
    std::uintmax_t bytes_ = 0;
    std::uint64_t count_ = 0;
};

} // namespace velmora::collect
