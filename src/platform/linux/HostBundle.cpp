#include "platform/linux/HostBundle.h"

#include "platform/Format.h"
#include "platform/JSON.h"
#include "platform/SystemLog.h"
#include "platform/Text.h"
#include "platform/linux/ExecutablePath.h"
#include "platform/linux/SmallFile.h"

#include <cerrno>
#include <system_error>
#include <utility>

namespace vmr {
namespace {

constexpr std::string_view identifierKey = "CFBundleIdentifier";
constexpr std::size_t infoFileLimit = 1024 * 1024;

void addMissing(Dictionary &entries, const Dictionary &others) {
    for (const auto &[key, value] : others) {
        if (valueForKey(entries, key).isAbsent())
            put(entries, key, value);
    }
}

} // namespace

std::string HostBundle::infoFileBesideExecutable() {
    const std::string path = executablePath();
    return path.empty() ? path : path.substr(0, path.rfind('/') + 1) + "Info.json";
}

HostBundle::HostBundle(const std::optional<std::string> &bundleIdentifier,
                       const std::optional<Dictionary> &information, SystemLog &log,
                       const Dictionary &entries, std::string infoFile)
    : log_(log), infoFile_(std::move(infoFile)), entries_(entries),
      isComplete_(information.has_value()) {
    if (bundleIdentifier)
        put(entries_, identifierKey, Value::string(*bundleIdentifier));
    if (information)
        addMissing(entries_, *information);
}

std::optional<std::string> HostBundle::bundleIdentifier() const {
    const Value value = objectForInfoDictionaryKey(identifierKey);
    const std::string *text = value.asString();
    return text && !holdsControl(*text) ? std::optional(*text) : std::nullopt;
}

Value HostBundle::objectForInfoDictionaryKey(std::string_view key) const {
    Value object;
    std::string problem;
    {
        const MutexLock lock(mutex_);
        object = valueForKey(entries_, key);
        if (object.isAbsent() && !std::exchange(isComplete_, true)) {
            problem = readInfoFile();
            object = valueForKey(entries_, key);
        }
    }
    if (!problem.empty())
        log_.write(formatText("VelmoraKit: %@ is not used: %@", infoFile_, problem));
    return object;
}

std::string HostBundle::readInfoFile() const {
    std::string content;
    if (const int error = readSmallFile(infoFile_.c_str(), infoFileLimit, content))
        return error == ENOENT ? "" : std::generic_category().message(error);
    const Expected<Value> read = readJSON(content);
    if (const auto *error = std::get_if<PlatformError>(&read))
        return error->debugDescription();
    const Dictionary *entries = std::get_if<Value>(&read)->asDictionary();
    if (entries == nullptr)
        return "it does not hold a JSON object";
    addMissing(entries_, *entries);
    return {};
}

} // namespace vmr
