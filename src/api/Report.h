#pragma once

#include "platform/Value.h"

#include <concepts>
#include <initializer_list>
#include <variant>

namespace vmr::api {

/// What stands in a report: null where it is missing. Refers to what it is made of, and has only
/// plain members: a report's many values would each be cleaned up after.
class Reported {
public:
    Reported() = default;
    Reported(const Value &value) : held_(&value) {}
    Reported(const std::string &text) : held_(std::string_view(text)) {}
    Reported(std::string_view text) : held_(text) {}
    Reported(const char *text) : held_(std::string_view(text)) {}
    Reported(double real) : held_(real) {}
    Reported(Date date) : held_(date.secondsSince1970) {}
    Reported(bool flag) : held_(flag) {}
    template <std::integral T>
    Reported(T integer) : held_(static_cast<std::int64_t>(integer)) {}
    template <class T>
    Reported(const std::optional<T> &given) : Reported(given ? Reported(*given) : Reported()) {}

    Value value() const;

private:
    std::variant<std::monostate, const Value *, std::string_view, double, bool, std::int64_t> held_;
};

/// A JSON text with the values in the places of its "@", in order, as tagged JSON.
std::string reportOf(std::string_view form, std::initializer_list<Reported> values);

} // namespace vmr::api
