#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace vmr {

/// A base address that paths can be appended to: absolute, https (http for loopback addresses
/// alone), ending with "/". Only a valid one can exist.
class IngestBaseAddress {
public:
    /// What is wrong with an address, and what a right one looks like; one line for people.
    struct Refusal {
        std::string message;
    };

    static std::variant<IngestBaseAddress, Refusal> check(std::string_view text);

    const std::string &text() const noexcept { return text_; }

private:
    explicit IngestBaseAddress(std::string text) : text_(std::move(text)) {}
    std::string text_;
};

/// What the host's information dictionary gives as "VMRIngestBaseAddress", else the deployment's,
/// as it stands there, and why it is refused if it is.
struct ConfiguredIngestAddress {
    std::string text;
    bool isBuiltIn = false;
    std::optional<std::string> refusal;
};
ConfiguredIngestAddress configuredIngestAddress();

/// The base address of the data-stream ingest service. Empty when it was refused, which
/// is logged; requests then fail as transport errors.
std::string ingestBaseAddress();

} // namespace vmr
