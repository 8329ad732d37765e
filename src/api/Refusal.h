#pragma once

#include "platform/Format.h"

#include <VelmoraKit/velmora.h>

#include <exception>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace vmr::api {

/// Thrown inside the C interface to end a call: the result and a sentence with the remedy. Never
/// leaves it.
class Refusal : public std::exception {
public:
    Refusal(velmora_result result, std::string message)
        : result_(result), message_(std::move(message)) {}
    velmora_result result() const noexcept { return result_; }
    const char *what() const noexcept override { return message_.c_str(); }

private:
    velmora_result result_;
    std::string message_;
};

[[noreturn]] void refuseWith(velmora_result result, std::string_view text,
                             std::initializer_list<FormatArgument> arguments);

/// Throws a Refusal whose sentence is `text` with its placeholders filled in.
template <class... Arguments>
[[noreturn]] void refuse(velmora_result result, std::string_view text,
                         const Arguments &...arguments) {
    refuseWith(result, text, {FormatArgument(arguments)...});
}

} // namespace vmr::api
