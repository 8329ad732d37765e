#pragma once

#include "platform/Value.h"
#include "platform/linux/loops/EpollRunLoop.h"

namespace vmr {
struct LinuxPlatform;
}

namespace vmr::api {

/// Parts of velmora_diagnose_json: what the main run loop does, and what waits and why.
Value mainLoopDiagnosis(const LinuxPlatform &platform, const EpollRunLoop::State &state);
Value pendingDiagnosis(const LinuxPlatform &platform, const EpollRunLoop::State &state,
                       bool canDeliver);

} // namespace vmr::api
