#pragma once

#include "platform/Data.h"
#include "platform/PlatformError.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vmr {

/// A body that is made when it is first asked for, so that the thread that sends does the work.
/// Used by one thread at a time.
class HTTPBody {
public:
    using Maker = std::function<std::optional<Data>()>;

    HTTPBody() = default;
    HTTPBody(Data bytes) : bytes_(std::move(bytes)) {}
    explicit HTTPBody(Maker maker) : maker_(std::move(maker)) {}

    /// Comes before the others. False when there is no memory for it; it may be tried again.
    bool make() noexcept {
        try {
            if (maker_)
                bytes_ = maker_();
            maker_ = nullptr;
            return true;
        } catch (const std::bad_alloc &) {
            return false;
        }
    }
    bool isPresent() const { return bytes_.has_value(); }
    std::string_view bytes() const { return bytes_ ? bytes_->bytes() : std::string_view(); }
    std::size_t size() const { return bytes().size(); }

private:
    std::optional<Data> bytes_;
    Maker maker_;
};

struct HTTPRequest {
    std::string url;
    /// Absent: the service's default, GET.
    std::optional<std::string> method;
    /// In the order they were set; a name set again replaces the earlier value.
    std::vector<std::pair<std::string, std::string>> headers;
    HTTPBody body;
};

/// What an exchange ended with. Exactly one of `error` and a response is meaningful.
struct HTTPOutcome {
    std::optional<PlatformError> error;
    /// Absent when what answered was not HTTP.
    std::optional<std::int64_t> statusCode;
    Data body;
    /// The size of the request's body as it is sent, 0 when none was made.
    std::size_t bodyBytes = 0;
};

/// Sends requests over connections that are shared by all of them. Safe from any thread, never
/// blocks. For every request, the completion runs exactly once: on a thread of the session's
/// choice, or within `send` when that cannot be had. What it throws is logged and dropped.
class HTTPSession {
public:
    using Completion = std::function<void(const HTTPOutcome &)>;

    virtual void send(HTTPRequest request, Completion completion) = 0;

protected:
    ~HTTPSession() = default;
};

} // namespace vmr
