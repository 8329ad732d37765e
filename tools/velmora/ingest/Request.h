#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace velmora::ingest {

/// A request as it came over the wire; the body still compressed.
struct Request {
    std::string method;
    /// Path and query, undecoded.
    std::string target;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
};

/// What the service issued to the application. Absent: the service was told none.
struct Credentials {
    std::optional<std::string> apiKey;
    std::optional<std::string> secret;
};

/// Sentences about what is wrong; empty when nothing is.
using Problems = std::vector<std::string>;

/// How many of one request are told.
inline constexpr std::size_t mostProblems = 1000;

/// A sentence, and what it is about: "method", "address", "gzip", "body", "header Accept" or
/// "envelope os".
struct Finding {
    std::string about;
    std::string text;
};
using Findings = std::vector<Finding>;

/// The two resources of the service. They differ in address, envelope and items.
enum class Kind { Consents, DevicesErrors };

} // namespace velmora::ingest
