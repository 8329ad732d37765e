#include "facade/VMRDebugLog.h"

#include "facade/ConfigurationKeys.h"
#include "facade/VMRConfigManager.h"
#include "platform/Platform.h"
#include "platform/SystemLog.h"

namespace vmr {

bool isDebugLogEnabled() {
    return VMRConfigManager::boolConfigValueForKey(VMR_CONFIG_DISPLAY_LOGS) ||
           VMRConfigManager::publicDebugLogsEnabled();
}

void writeDebugLine(std::string_view line) {
    platform().systemLog->write(formatText("[VMR] %@", line));
}

} // namespace vmr
