#include "platform/Preferences.h"

#include "platform/Format.h"

namespace vmr {

std::optional<std::string> Preferences::stringForKey(std::string_view key) const {
    const Value value = objectForKey(key);
    if (const std::string *text = value.asString())
        return *text;
    if (value.isNumber())
        return value.description();
    return std::nullopt;
}

std::string Preferences::description() const {
    return formatText("<Preferences: 0x%lx>", reinterpret_cast<std::uintptr_t>(this));
}

} // namespace vmr
