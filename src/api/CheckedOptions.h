#pragma once

#include "platform/linux/LinuxPlatform.h"

#include <VelmoraKit/velmora.h>

#include <cstdint>
#include <string_view>

namespace vmr::api {

/// A member of velmora_options that is a text or a number.
struct Option {
    std::string_view name;
    const char *velmora_options::*text;
    std::uint32_t velmora_options::*number;
    /// Throws a Refusal where the member is wrong.
    void (*take)(LinuxOptions &options, const velmora_options &all, std::string_view name);
};
/// Null where there is none of that name.
const Option *findOption(std::string_view name);

/// The options as the platform takes them. Throws a Refusal that names the member that is wrong.
LinuxOptions checkedOptions(const velmora_options &given);

} // namespace vmr::api
