#include "facade/VMRConfigManager.h"

#include "device/Persistence.h"
#include "facade/ConfigurationKeys.h"
#include "platform/KeyedArchive.h"
#include "platform/MainBundle.h"
#include "platform/Mutex.h"
#include "platform/Platform.h"

#include <memory>
#include <utility>

namespace vmr {
namespace {

/// The merged set, shared so that a read costs no copy. A merge that began before the cache was
/// emptied may have seen the old configuration and must not fill it: the generation tells.
class MergedConfiguration {
public:
    static MergedConfiguration &shared() {
        static MergedConfiguration &only = *new MergedConfiguration;
        return only;
    }

    std::shared_ptr<const Dictionary> get() {
        std::uint64_t generation = 0;
        {
            const MutexLock lock(mutex_);
            if (merged_)
                return merged_;
            generation = generation_;
        }
        const auto merged = std::make_shared<const Dictionary>(merge());
        const MutexLock lock(mutex_);
        if (generation == generation_)
            merged_ = merged;
        return merged;
    }

    void empty() {
        const MutexLock lock(mutex_);
        merged_.reset();
        ++generation_;
    }

private:
    static Dictionary merge() {
        Dictionary merged = VMRConfigManager::defaultConfig();
        const Value saved = VMRConfigManager::savedConfiguration();
        if (const Dictionary *overlay = saved.asDictionary()) {
            for (const auto &[key, value] : *overlay) {
                if (value.isNull())
                    merged.erase(key);
                else
                    put(merged, key, value);
            }
        }
        return merged;
    }

    Mutex mutex_;
    std::shared_ptr<const Dictionary> merged_ VMR_GUARDED_BY(mutex_);
    std::uint64_t generation_ VMR_GUARDED_BY(mutex_) = 0;
};

/// The number stored under the key, or absent.
Value numberForKey(std::string_view key) {
    Value value = valueForKey(*MergedConfiguration::shared().get(), key);
    return value.isNumber() ? value : Value();
}

} // namespace

Dictionary VMRConfigManager::defaultConfig() {
    const std::pair<std::string_view, std::int32_t> defaults[] = {
        {VMR_CONFIG_GET_DEVICE_REQUEST_TIME_INTERVAL, 48},
        {VMR_CONFIG_LAST_POST_DEVICE_ATTEMPT_TIME_INTERVAL, 2},
        {VMR_CONFIG_LOGS_REQUEST_SEND_TIME_INTERVAL, 0},
        {VMR_CONFIG_LOGS_REQUEST_ATTEMPT_TIME_INTERVAL, 0},
        {VMR_CONFIG_DISPLAY_LOGS, 0},
        {VMR_CONFIG_ERRORS_POST_ACTIVATED, 1},
        {VMR_CONFIG_ERRORS_POST_TIME_INTERVAL, 48},
        {VMR_CONFIG_ERRORS_ATTEMPT_POST_TIME_INTERVAL, 12},
        {VMR_CONFIG_ERRORS_ACTIVE_ARRAY_BUFFER_SIZE, 50},
        {VMR_CONFIG_ERRORS_LATENT_ARRAY_BUFFER_SIZE, 10},
    };
    Dictionary configuration;
    for (const auto &[key, value] : defaults)
        put(configuration, key, Value::integer(value));
    return configuration;
}

Value VMRConfigManager::savedConfiguration() {
    return loadArchive(VMRSavedConfigurationKey);
}

void VMRConfigManager::setSavedConfiguration(const Value &configuration) {
    MergedConfiguration::shared().empty();
    storeArchive(archivedDataWithRootObject(configuration), VMRSavedConfigurationKey);
    // Once more: another thread may have merged the old configuration in between.
    MergedConfiguration::shared().empty();
}

void VMRConfigManager::forget() {
    MergedConfiguration::shared().empty();
}

Dictionary VMRConfigManager::actualConfiguration() {
    return *MergedConfiguration::shared().get();
}

std::int64_t VMRConfigManager::integerConfigValueForKey(std::string_view key) {
    return numberForKey(key).integerValue();
}

double VMRConfigManager::secondsOfHoursForKey(std::string_view key) {
    return static_cast<double>(integerConfigValueForKey(key)) * 3600;
}

bool VMRConfigManager::boolConfigValueForKey(std::string_view key) {
    return numberForKey(key).boolValue();
}

bool VMRConfigManager::publicDebugLogsEnabled() {
    return platform().mainBundle->objectForInfoDictionaryKey("VMRLogsEnabled").boolValue();
}

} // namespace vmr
