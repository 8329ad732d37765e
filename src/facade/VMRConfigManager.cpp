#include "facade/VMRConfigManager.h"

#include "device/Keys.h"
#include "device/Persistence.h"
#include "platform/KeyedArchive.h"
#include "platform/Locked.h"
#include "platform/MainBundle.h"
#include "platform/Platform.h"

#include <atomic>
#include <memory>
#include <utility>

namespace vmr {
namespace {

/// The merged set, shared so that a read costs no copy; empty until somebody asks for it.
Locked<std::shared_ptr<const Dictionary>> &merged() {
    static auto &only = *new Locked<std::shared_ptr<const Dictionary>>;
    return only;
}

/// How often it was emptied: a merge that began before may have seen the old configuration and must
/// not fill it.
std::atomic<std::uint64_t> emptied{0};

Dictionary merge() {
    Dictionary all = VMRConfigManager::defaultConfig();
    const Value saved = VMRConfigManager::savedConfiguration();
    if (const Dictionary *overlay = saved.asDictionary()) {
        for (const auto &[key, value] : *overlay) {
            if (value.isNull())
                all.erase(key);
            else
                put(all, key, value);
        }
    }
    return all;
}

std::shared_ptr<const Dictionary> configuration() {
    if (auto known = merged().get())
        return known;
    const std::uint64_t begun = emptied;
    auto made = std::make_shared<const Dictionary>(merge());
    merged().with([&](auto &kept) {
        if (begun == emptied)
            kept = made;
    });
    return made;
}

/// The number stored under the key, or absent.
Value numberForKey(std::string_view key) {
    Value value = valueForKey(*configuration(), key);
    return value.isNumber() ? value : Value();
}

} // namespace

Dictionary VMRConfigManager::defaultConfig() {
#define VMR_DEFAULT(name, text, value) {name, value},
    static constexpr std::pair<std::string_view, std::int32_t> defaults[] = {
        VMR_CONFIGURATION_KEYS(VMR_DEFAULT)};
#undef VMR_DEFAULT
    Dictionary all;
    for (const auto &[key, value] : defaults)
        put(all, key, Value::integer(value));
    return all;
}

Value VMRConfigManager::savedConfiguration() {
    return loadArchive(VMRSavedConfigurationKey);
}

void VMRConfigManager::setSavedConfiguration(const Value &saved) {
    forget();
    storeArchive(archivedDataWithRootObject(saved), VMRSavedConfigurationKey);
    // Once more: another thread may have merged the old configuration in between.
    forget();
}

void VMRConfigManager::forget() {
    merged().with([](auto &kept) {
        kept.reset();
        ++emptied;
    });
}

Dictionary VMRConfigManager::actualConfiguration() {
    return *configuration();
}

std::int64_t VMRConfigManager::integerConfigValueForKey(std::string_view key) {
    return numberForKey(key).integerValue();
}

VMRConfigManager::Pace VMRConfigManager::paceSince(Value date, std::string_view intervalKey,
                                                   Date now) {
    const double elapsed = now.timeIntervalSince(dateOrDistantPast(date));
    const auto hours = static_cast<double>(integerConfigValueForKey(intervalKey));
    return {std::move(date), elapsed, hours * 3600};
}

bool VMRConfigManager::boolConfigValueForKey(std::string_view key) {
    return numberForKey(key).boolValue();
}

bool VMRConfigManager::publicDebugLogsEnabled() {
    return platform().mainBundle->objectForInfoDictionaryKey("VMRLogsEnabled").boolValue();
}

} // namespace vmr
