#include "platform/linux/UnixDevice.h"

#include "platform/Hexadecimal.h"
#include "platform/MainBundle.h"
#include "platform/SHA256.h"
#include "platform/Text.h"
#include "platform/UUID.h"
#include "platform/linux/SmallFile.h"

#include <sys/utsname.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace vmr {
namespace {

constexpr std::size_t fileLimit = 64 * 1024;

/// Empty where it cannot be read.
std::string contentOf(const char *path) {
    std::string content;
    if (readSmallFile(path, fileLimit, content) != 0)
        content.clear();
    return content;
}

/// The value of "KEY=value" or "KEY="value"" in an os-release file.
std::string_view osReleaseValue(std::string_view text, std::string_view key) {
    while (!text.empty()) {
        const auto end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
        if (!line.starts_with(key) || line.substr(key.size(), 1) != "=")
            continue;
        line.remove_prefix(key.size() + 1);
        if (line.size() >= 2 && (line.front() == '"' || line.front() == '\'') &&
            line.back() == line.front())
            line = line.substr(1, line.size() - 2);
        return line;
    }
    return {};
}

/// "6.1.0" of "6.1.0-13-amd64": for systems without versions of their own.
std::string kernelVersion() {
    utsname names{};
    if (::uname(&names) != 0)
        return {};
    const std::string_view release = names.release;
    std::string_view version = release.substr(0, release.find_first_not_of("0123456789."));
    while (version.ends_with('.'))
        version.remove_suffix(1);
    return std::string(version);
}

/// From a machine id's 32 hexadecimal digits.
std::optional<std::string> vendorIdentifier(std::string_view machineId,
                                            const std::string &bundleIdentifier) {
    while (machineId.ends_with('\n'))
        machineId.remove_suffix(1);
    std::array<unsigned char, 16> identifier{};
    const auto bytes = bytesOfHexadecimal(machineId);
    if (!bytes || bytes->size() != identifier.size())
        return std::nullopt;
    const SHA256Digest hash = hmacSHA256(*bytes, bundleIdentifier);
    std::copy_n(hash.begin(), identifier.size(), identifier.begin());
    return uuidStringOf(identifier);
}

} // namespace

UnixDevice::UnixDevice(const std::optional<std::string> &systemVersion,
                       const std::optional<std::string> &identifierForVendor,
                       const MainBundle &bundle, const Files &files)
    : bundle_(bundle), files_(files), isVersionGiven_(systemVersion.has_value()),
      version_(systemVersion), vendor_(identifierForVendor) {}

std::string UnixDevice::systemVersion() const {
    const MutexLock lock(mutex_);
    if (!version_) {
        std::string release = contentOf(files_.osRelease);
        if (release.empty())
            release = contentOf(files_.osReleaseFallback);
        const std::string_view named = osReleaseValue(release, "VERSION_ID");
        version_ = named.empty() || !isValidUTF8(named) ? kernelVersion() : std::string(named);
    }
    return *version_;
}

bool UnixDevice::isSystemVersionAtLeast(int major, int minor) const {
    return (!isVersionGiven_ && major < 10) || CurrentDevice::isSystemVersionAtLeast(major, minor);
}

std::string UnixDevice::machine() const {
    utsname names{};
    return ::uname(&names) == 0 ? names.machine : "";
}

std::optional<std::string> UnixDevice::identifierForVendor() const {
    const auto bundleIdentifier = bundle_.bundleIdentifier();
    const MutexLock lock(mutex_);
    if (!std::exchange(vendorMade_, true) && !vendor_ && bundleIdentifier &&
        !bundleIdentifier->empty())
        vendor_ = vendorIdentifier(contentOf(files_.machineId), *bundleIdentifier);
    return vendor_;
}

} // namespace vmr
