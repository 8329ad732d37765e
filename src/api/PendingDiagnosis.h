#pragma once

#include "platform/Value.h"

namespace vmr {
struct LinuxPlatform;
}

namespace vmr::api {

/// Parts of velmora_diagnose_json: what the main run loop does, and what waits and why.
Value mainLoopDiagnosis(const LinuxPlatform &platform);
Value pendingDiagnosis(const LinuxPlatform &platform, bool canDeliver);

} // namespace vmr::api
