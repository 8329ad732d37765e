#pragma once

#include "doctor/Finding.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velmora::doctor {

/// What the person at the command line says about the application.
struct Given {
    std::optional<std::string> apiKey, secret, ingest, store, bundleId, appVersion;
    std::optional<std::string> infoFile, certificateAuthorityFile, pinnedPublicKey;
    std::optional<std::string> systemVersion;
    std::uint32_t trackingStatus = 0;
    bool legacyTracking = false;
    bool allowProxy = false;
    bool sharedFolder = false;
    bool connect = false;
};

/// The ingest address in its parts.
struct Service {
    std::string address;
    std::string scheme;
    std::string host;
    std::string port;
};

/// What the checks look at.
struct Subject {
    Given given;
    /// What the SDK itself says (velmora_diagnose_json), with the application's options.
    nlohmann::json sdk;
    /// Lines that the SDK logged meanwhile.
    std::vector<std::string> log;
    /// The preferences file; empty when it is not known which one the application uses.
    std::string storePath;
    /// Whether the file could be opened, so that `storedValue` tells what is in it.
    bool isStoreRead = false;
    /// Why a sound file was not opened all the same; else empty.
    std::string storeNotRead;
    /// Absent when the address is refused.
    std::optional<Service> service;
};

/// Asks the SDK; what is wrong with the options themselves becomes a finding, and there is then no
/// subject.
std::optional<Subject> examine(const Given &given, Findings &findings);

/// The text of an entry of the SDK's answer, empty for null.
std::string textOf(const nlohmann::json &entry);

} // namespace velmora::doctor
