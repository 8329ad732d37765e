#pragma once

#include <VelmoraKit/velmora.h>

#if __cplusplus < 201703L
#error "VelmoraKit's C++ classes need C++17 or later; <VelmoraKit/velmora.h> serves earlier ones"
#endif

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace VelmoraKit {

/// How a call ended. True in a condition when it succeeded; otherwise `message` says what was wrong
/// and what to do. Nothing in this library throws (apart from std::bad_alloc out of std::string).
class Result {
public:
    Result() = default;
    /// The result of a call that this thread has just made.
    explicit Result(velmora_result code) : code_(code) {
        if (code != VELMORA_OK)
            message_ = velmora_last_error_message();
    }
    Result(velmora_result code, std::string message) : code_(code), message_(std::move(message)) {}

    explicit operator bool() const noexcept { return code_ == VELMORA_OK; }
    velmora_result code() const noexcept { return code_; }
    const std::string &message() const noexcept { return message_; }

private:
    velmora_result code_ = VELMORA_OK;
    std::string message_;
};

/// A text that may be absent: built from nullptr, std::nullopt, a C text, a std::string, a
/// std::string_view or an optional of these.
class OptionalText {
public:
    OptionalText(std::nullptr_t) {}
    OptionalText(std::nullopt_t) {}
    OptionalText(const char *text) {
        if (text != nullptr)
            text_ = text;
    }
    OptionalText(std::string text) : text_(std::move(text)) {}
    OptionalText(std::string_view text) : text_(text) {}
    OptionalText(std::optional<std::string> text) : text_(std::move(text)) {}
    OptionalText(std::optional<std::string_view> text) {
        if (text)
            text_ = *text;
    }

    /// NULL when absent.
    const char *c_str() const noexcept { return text_ ? text_->c_str() : nullptr; }
    bool hasNul() const noexcept { return text_ && text_->find('\0') != std::string::npos; }

private:
    std::optional<std::string> text_;
};

namespace detail {

/// Takes over a text that the C interface handed out.
inline std::string takeText(char *text, std::size_t length) {
    std::string taken(text, length);
    velmora_free(text);
    return taken;
}

inline std::string takeText(char *text) {
    return takeText(text, std::char_traits<char>::length(text));
}

inline Result refuseNul() {
    return Result(VELMORA_INVALID_ARGUMENT, "the text contains a NUL, which ends a key or an "
                                            "option: leave it out");
}

/// Calls what the host gave; what it throws is dropped. The host may be compiled without
/// exceptions.
template <class Function, class... Arguments>
void callHost(void *function, Arguments... arguments) {
#ifdef __cpp_exceptions
    try {
#endif
        (*static_cast<Function *>(function))(arguments...);
#ifdef __cpp_exceptions
    } catch (...) {
    }
#endif
}

} // namespace detail
} // namespace VelmoraKit
