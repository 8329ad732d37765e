#pragma once

#include "platform/Value.h"

#include <concepts>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace vmr {

/// One argument of `formatText`: an object for "%@", a number for "%ld", "%lu" and "%d", an
/// unsigned one for "%x", a real for "%f", a C text for "%s". Refers to what it is made of, and
/// lives as long as the call.
class FormatArgument {
public:
    FormatArgument(const Value &value) : held_(&value) {}
    FormatArgument(const std::string &text) : held_(std::string_view(text)) {}
    FormatArgument(std::string_view text) : held_(text) {}
    FormatArgument(const char *text) : held_(std::string_view(text)) {}
    FormatArgument(std::optional<std::string_view> text) : held_(text.value_or(absent)) {}
    FormatArgument(const Dictionary &dictionary) : held_(&dictionary) {}
    FormatArgument(double real) : held_(real) {}
    template <std::signed_integral T>
    FormatArgument(T integer) : held_(static_cast<std::int64_t>(integer)) {}
    template <std::unsigned_integral T>
    FormatArgument(T integer) : held_(static_cast<std::uint64_t>(integer)) {}

    /// Only plain members: a text's many callers would each clean up after anything else.
    using Held = std::variant<std::string_view, const Value *, const Dictionary *, std::int64_t,
                              std::uint64_t, double>;
    const Held &held() const noexcept { return held_; }

    static constexpr std::string_view absent = "(null)";

private:
    Held held_;
};

/// Fills the placeholders "%@ %ld %lu %d %x %f %s %%" of `format` in order, the way the system's
/// texts are written. "%@" prints a value's description, of a collection 1 MiB at most; "%f" six
/// decimals. A placeholder without an argument prints "(null)"; surplus arguments are ignored.
std::string formatArguments(std::string_view format,
                            std::initializer_list<FormatArgument> arguments);

template <class... Arguments>
std::string formatText(std::string_view text, const Arguments &...arguments) {
    return formatArguments(text, {FormatArgument(arguments)...});
}

} // namespace vmr
