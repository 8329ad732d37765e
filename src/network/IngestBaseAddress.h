#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vmr {

/// Paths are appended to a base address: it is absolute, https (http for loopback addresses alone),
/// and ends with "/". What is wrong with another text, and what a right one looks like, in a line
/// for people.
std::optional<std::string> refusalOfIngestBaseAddress(std::string_view text);

/// What the host's information dictionary gives as "VMRIngestBaseAddress", else the deployment's,
/// as it stands there, and why it is refused if it is.
struct ConfiguredIngestAddress {
    std::string text;
    bool isBuiltIn = false;
    std::optional<std::string> refusal;
    /// Whether it is one that a build without a service has: its domain is reserved for examples.
    bool isPlaceholder() const { return isBuiltIn && text.ends_with(".example/"); }
};
ConfiguredIngestAddress configuredIngestAddress();

/// The base address of the data-stream ingest service. Empty when it was refused, which
/// is logged; requests then fail as transport errors.
std::string ingestBaseAddress();

} // namespace vmr
