#include "facade/VMRDebugLog.h"

#include "device/Keys.h"
#include "facade/VMRConfigManager.h"
#include "platform/Platform.h"
#include "platform/SystemLog.h"

namespace vmr {

bool isDebugLogEnabled() {
    return VMRConfigManager::boolConfigValueForKey(VMR_CONFIG_DISPLAY_LOGS) ||
           VMRConfigManager::publicDebugLogsEnabled();
}

void debugLogWith(std::string_view text, std::initializer_list<FormatArgument> arguments) {
    if (isDebugLogEnabled())
        writeDebugLine(formatArguments(text, arguments));
}

void writeDebugLine(std::string_view line) {
    platform().systemLog->write(formatText("[VMR] %@", line), LogLevel::debug);
}

} // namespace vmr
