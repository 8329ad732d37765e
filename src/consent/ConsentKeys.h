#pragma once

#include <string_view>

namespace vmr {

/// Written by the host's consent tool, never by the SDK.
inline constexpr std::string_view TCFv1ConsentStringKey = "IABConsent_ConsentString";
inline constexpr std::string_view TCFv2ConsentStringKey = "IABTCF_TCString";

/// Preferences keys of the consent data manager.
inline constexpr std::string_view DeviceDataConsentEvents = "VMRConsentEventsArray";
inline constexpr std::string_view VMRLastPostConsentDatasDateKey = "VMRLastPostConsentDatasDateKey";
inline constexpr std::string_view VMRLastPostConsentDatasAttemptDateKey =
    "VMRLastPostConsentDatasAttemptDateKey";
inline constexpr std::string_view VMRLastTCFv1StringKey = "VMRLastTCFv1StringKey";
inline constexpr std::string_view VMRLastTCFv2StringKey = "VMRLastTCFv2StringKey";
/// Declared for hosts; nothing reads or writes it.
inline constexpr std::string_view VMRLastStoredConsentDate = "VMRLastStoredConsentDate";

} // namespace vmr
