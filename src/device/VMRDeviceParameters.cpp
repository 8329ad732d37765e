#include "device/VMRDeviceDataManager.h"
#include "facade/VMRDebugLog.h"

#include <algorithm>
#include <array>

namespace vmr {
namespace {

/// The placeholder is the whole list: no device parameter is urgent so far.
constexpr std::array<std::string_view, 1> highPriorityKeys{"a hight prio param"};

template <class Collection>
bool contains(const Collection &keys, std::string_view key) {
    return std::ranges::find(keys, key) != keys.end();
}

} // namespace

bool VMRDeviceDataManager::highPriorityValueChangedForDeviceParameters(
    const std::optional<Dictionary> &params) const {
    bool changed = false;
    if (!params)
        return changed;
    for (const auto &[key, value] : *params) {
        const Dictionary *inner = value.asDictionary();
        if (inner && highPriorityValueChangedForDeviceParameters(*inner)) {
            changed = true;
        } else if (contains(highPriorityKeys, key)) {
            changed = true;
            debugLog("   - high Priority Parameters changed -> %@ : %@", key, value);
        }
    }
    return changed;
}

Dictionary
VMRDeviceDataManager::diffParameters(const Dictionary &current,
                                     const std::optional<Dictionary> &previous,
                                     const std::optional<std::vector<std::string>> &forced) const {
    Dictionary result = current;
    if (!previous)
        return result;
    for (const auto &[key, before] : *previous) {
        const auto found = result.find(key);
        if (found == result.end())
            continue;
        if (const Dictionary *inner = found->second.asDictionary()) {
            const Dictionary *innerBefore = before.asDictionary();
            found->second = Value::dictionary(diffParameters(
                *inner, innerBefore ? std::optional(*innerBefore) : std::nullopt, forced));
        } else if (found->second.isEqualTo(before) && !(forced && contains(*forced, key))) {
            result.erase(found);
        }
    }
    return result;
}

} // namespace vmr
