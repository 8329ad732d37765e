#pragma once

#include "platform/linux/LinuxPlatform.h"

#include <VelmoraKit/velmora.h>

namespace vmr::api {

/// The options as the platform takes them. Throws a Refusal that names the member that is wrong.
LinuxOptions checkedOptions(const velmora_options &given);

} // namespace vmr::api
