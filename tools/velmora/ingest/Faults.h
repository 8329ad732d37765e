#pragma once

#include "ingest/Answers.h"

#include <optional>
#include <span>
#include <string_view>

namespace velmora::ingest {

/// An answer that can be asked for by name.
struct Fault {
    std::string_view name;
    /// A few words for a button.
    std::string_view title;
    /// What the service does, in a sentence.
    std::string_view does;
};

std::span<const Fault> faults();

/// The answer of that name; nothing when there is none.
std::optional<Answer> faultNamed(std::string_view name);

/// What the SDK does after such an answer.
std::string consequenceOf(const Answer &answer);

/// True when the SDK takes the answer for a success.
bool isSuccess(const Answer &answer);

} // namespace velmora::ingest
