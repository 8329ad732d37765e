#pragma once

#include "ingest/Request.h"

#include <nlohmann/json.hpp>

namespace velmora::ingest {

/// What a request is found to be, from end to end.
struct Report {
    std::optional<Kind> kind;
    /// "right", "not checked: …" or what is wrong.
    std::string signature;
    /// "sound" or what is wrong.
    std::string gzip;
    std::string json;
    /// Of the body unpacked, as far as gzip is sound.
    std::size_t textLength = 0;
    /// The entries beside "batch"; null when there are none to see.
    nlohmann::json envelope;
    nlohmann::json items = nlohmann::json::array();
    /// In the order of the items.
    std::vector<Problems> itemProblems;
    /// About anything else.
    Findings findings;

    bool isSound() const;
    /// The envelope's "uuid"; empty when there is none.
    std::string uuid() const;
};

Report report(const Request &request, const Credentials &credentials);
/// The same without method, headers and signature, for who judges those by other rules.
Report reportOfBody(const Request &request);

/// Of a request that could not be read.
inline constexpr const char *unreadableRequest =
    "the request broke off, or is not the HTTP that a client of the service speaks";

/// The line about a request and its answer. The entries are explained in the subcommand's help.
nlohmann::ordered_json lineAbout(const Request &request, const Report &report, int answer);
nlohmann::ordered_json lineAboutRefused(const Request &request, const std::string &why, int answer);

} // namespace velmora::ingest
