#pragma once

#include "platform/Date.h"

#include <memory>

namespace vmr {

class VMRDeviceDataManager;

/// Prints the public status line for the host's developer: once in a process, and again only when
/// what it says changes.
class VMRPublicLogHelper {
public:
    VMRPublicLogHelper() = delete;

    static void logPublicManagerStatusWithDeviceDataManager(
        const std::shared_ptr<VMRDeviceDataManager> &deviceDataManager, Date date);
};

} // namespace vmr
