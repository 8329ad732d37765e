#pragma once

#include <string>
#include <string_view>

namespace bench {

/// One bare deflate of the whole text with a gzip wrapper, best compression.
std::string gzipOf(std::string_view text);

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
