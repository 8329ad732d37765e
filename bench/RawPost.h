#pragma once

#include <string>

namespace bench {

/// The raw limit of a post: one curl easy handle that keeps its connection.
class RawPost {
public:
    explicit RawPost(const std::string &address);
    ~RawPost();
    RawPost(const RawPost &) = delete;
    RawPost &operator=(const RawPost &) = delete;

    void post(const std::string &body);

private:
    void *handle_;
};

} // namespace bench
