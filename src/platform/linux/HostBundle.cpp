#include "platform/linux/HostBundle.h"

#include "platform/Format.h"
#include "platform/JSON.h"
#include "platform/SystemLog.h"
#include "platform/Text.h"
#include "platform/linux/ExecutablePath.h"
#include "platform/linux/SmallFile.h"

#include <cerrno>
#include <utility>

namespace vmr {
namespace {

constexpr std::string_view identifierKey = "CFBundleIdentifier";
constexpr std::size_t infoFileLimit = 1024 * 1024;

} // namespace

std::string HostBundle::infoFileBesideExecutable() {
    const std::string path = executablePath();
    return path.empty() ? path : path.substr(0, path.rfind('/') + 1) + "Info.json";
}

HostBundle::HostBundle(const std::optional<std::string> &bundleIdentifier,
                       const std::optional<Dictionary> &information,
                       const std::shared_ptr<SystemLog> &log, const Dictionary &entries,
                       std::string infoFile)
    : bundleIdentifier_(bundleIdentifier), log_(log), entries_(entries),
      infoFile_(std::move(infoFile)), information_(information) {}

std::optional<std::string> HostBundle::bundleIdentifier() const {
    const Value value = objectForInfoDictionaryKey(identifierKey);
    const std::string *text = value.asString();
    return text && !holdsControl(*text) ? std::optional(*text) : std::nullopt;
}

Value HostBundle::objectForInfoDictionaryKey(std::string_view key) const {
    if (key == identifierKey && bundleIdentifier_)
        return Value::string(*bundleIdentifier_);
    Value object = valueForKey(entries_, key);
    if (!object.isAbsent())
        return object;
    std::optional<PlatformError> problem;
    {
        const MutexLock lock(mutex_);
        if (!information_)
            problem = readInfoFile();
        object = valueForKey(*information_, key);
    }
    if (problem)
        log_->write(
            formatText("VelmoraKit: %@ is not used: %@", infoFile_, problem->debugDescription()));
    return object;
}

std::optional<PlatformError> HostBundle::readInfoFile() const {
    information_.emplace();
    const Expected<std::string> file = readSmallFile(infoFile_, infoFileLimit);
    if (const auto *error = std::get_if<PlatformError>(&file))
        return error->code == ENOENT ? std::nullopt : std::optional(*error);
    const Expected<Value> read = readJSON(std::get<std::string>(file));
    if (const auto *error = std::get_if<PlatformError>(&read))
        return *error;
    const Dictionary *entries = std::get<Value>(read).asDictionary();
    if (entries == nullptr)
        return platformError(NSCocoaErrorDomain, NSPropertyListReadCorruptError,
                             "it does not hold a JSON object");
    information_ = *entries;
    return std::nullopt;
}

} // namespace vmr
