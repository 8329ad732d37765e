#include "device/VMRDeviceDataManager.h"
#include "facade/VMRDebugLog.h"

#include <algorithm>

namespace vmr {
namespace {

/// A placeholder: no device parameter is urgent so far.
constexpr std::string_view highPriorityKey = "a hight prio param";

} // namespace

bool VMRDeviceDataManager::highPriorityValueChangedForDeviceParameters(
    const Dictionary &params) const {
    bool changed = false;
    for (const auto &[key, value] : params) {
        const Dictionary *inner = value.asDictionary();
        if (inner && highPriorityValueChangedForDeviceParameters(*inner)) {
            changed = true;
        } else if (key == highPriorityKey) {
            changed = true;
            debugLog("   - high Priority Parameters changed -> %@ : %@", key, value);
        }
    }
    return changed;
}

Dictionary VMRDeviceDataManager::diffParameters(const Dictionary &current,
                                                const Dictionary *previous,
                                                const std::vector<std::string> &forced) const {
    Dictionary result = current;
    if (!previous)
        return result;
    for (const auto &[key, before] : *previous) {
        const auto found = result.find(key);
        if (found == result.end())
            continue;
        if (const Dictionary *inner = found->second.asDictionary())
            found->second =
                Value::dictionary(diffParameters(*inner, before.asDictionary(), forced));
        else if (found->second.isEqualTo(before) && std::ranges::find(forced, key) == forced.end())
            result.erase(found);
    }
    return result;
}

} // namespace vmr
