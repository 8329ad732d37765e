#include "platform/linux/HostBundle.h"

#include "platform/Format.h"
#include "platform/JSON.h"
#include "platform/SystemLog.h"
#include "platform/linux/ExecutablePath.h"
#include "platform/linux/SmallFile.h"

#include <cerrno>
#include <system_error>
#include <utility>
#include <variant>

namespace vmr {
namespace {

constexpr std::string_view identifierKey = "CFBundleIdentifier";
constexpr std::size_t infoFileLimit = 1024 * 1024;

} // namespace

std::string HostBundle::infoFileBesideExecutable() {
    const std::string path = executablePath();
    return path.empty() ? path : path.substr(0, path.rfind('/') + 1) + "Info.json";
}

HostBundle::HostBundle(std::optional<std::string> bundleIdentifier,
                       std::optional<Dictionary> information, std::shared_ptr<SystemLog> log,
                       std::string infoFile)
    : bundleIdentifier_(std::move(bundleIdentifier)), log_(std::move(log)),
      infoFile_(std::move(infoFile)), information_(std::move(information)) {}

std::optional<std::string> HostBundle::bundleIdentifier() const {
    if (bundleIdentifier_)
        return bundleIdentifier_;
    const Value value = valueForKey(information(), identifierKey);
    if (const std::string *text = value.asString())
        return *text;
    return std::nullopt;
}

Value HostBundle::objectForInfoDictionaryKey(std::string_view key) const {
    if (key == identifierKey && bundleIdentifier_)
        return Value::string(*bundleIdentifier_);
    return valueForKey(information(), key);
}

const Dictionary &HostBundle::information() const {
    std::string problem;
    {
        const MutexLock lock(mutex_);
        if (!information_)
            problem = readInfoFile();
    }
    if (!problem.empty())
        log_->write(formatText("[VMR] %@ is not used: %@", infoFile_, problem));
    return *information_;
}

std::string HostBundle::readInfoFile() const {
    information_.emplace();
    const SmallFile file = readSmallFile(infoFile_, infoFileLimit);
    if (file.error == ENOENT)
        return {};
    if (file.error != 0)
        return std::generic_category().message(file.error);
    const auto read = readJSON(file.bytes);
    if (const PlatformError *error = std::get_if<PlatformError>(&read))
        return error->description();
    const Dictionary *entries = std::get<Value>(read).asDictionary();
    if (entries == nullptr)
        return "it holds no JSON object";
    information_ = *entries;
    return {};
}

} // namespace vmr
