#include "facade/VMRPublicLogHelper.h"

#include "device/DateFormatting.h"
#include "device/Keys.h"
#include "device/Persistence.h"
#include "device/VMRDeviceDataManager.h"
#include "device/VMRSystemInfosFetcher.h"
#include "facade/VMRConfigManager.h"
#include "platform/CurrentDevice.h"
#include "platform/Format.h"
#include "platform/Platform.h"
#include "platform/SystemLog.h"

#include <atomic>
#include <string>

namespace vmr {
namespace {

std::atomic<bool> alreadyLog{false};
std::atomic<bool> previousDeviceWellCreatedOnServer{false};

constexpr std::size_t paddingWidth = 53;

void print(const std::string &line) {
    platform().systemLog->write(line, LogLevel::info);
}

void printStatus(const std::string &banner, const std::optional<std::string> &identifier,
                 bool wellCreated) {
    if (wellCreated)
        return print(formatText("%@ ✅ Successfully initialized for device %@", banner, identifier));
    const std::string partial =
        formatText("%@ ⚠️ - Device ID %@ partially initialized : ", banner, identifier);
    const std::string deviceCreated =
        formatText("    - Device created ------> %@", wellCreated ? "✅" : "❌");
    const std::string joined =
        formatText("%@ \n %@%@", partial, std::string(paddingWidth, ' '), deviceCreated);
    print(formatText("%@\n", joined));
}

void printRetry(const std::string &banner, const VMRDeviceDataManager &deviceDataManager, Date now,
                bool wellCreated) {
    const auto retry =
        VMRConfigManager::paceSince(deviceDataManager.lastPostDeviceAttemptDate(),
                                    VMR_CONFIG_LAST_POST_DEVICE_ATTEMPT_TIME_INTERVAL, now);
    if (retry.interval <= retry.elapsed || wellCreated)
        return;
    const Date lastAttempt = dateOrDistantPast(retry.date);
    const VMRDateFormatter &formatter = VMR_postgresDateFormatter();
    print(formatText("%@ ⚠️ Failed to connect to server the %@ - Next retry planned the %@",
                     banner, formatter.stringFromDate(lastAttempt),
                     formatter.stringFromDate(lastAttempt.addingTimeInterval(retry.interval))));
    print(formatText("%@ ♻️ To retry sooner, please remove the application and re-install it",
                     banner));
}

} // namespace

void VMRPublicLogHelper::logPublicManagerStatusWithDeviceDataManager(
    const std::shared_ptr<VMRDeviceDataManager> &deviceDataManager, Date date) {
    // The status counts the device as well created whatever the server said; the other texts wait
    // for a version that works the value out.
    const bool wellCreated = true;
    if (alreadyLog && previousDeviceWellCreatedOnServer == wellCreated)
        return;
    alreadyLog = true;
    previousDeviceWellCreatedOnServer = wellCreated;

    const std::string banner = formatText("[VelmoraKit v%@]", VMRSystemInfosFetcher::sdkVersion());
    if (platform().currentDevice->isSystemVersionAtLeast(9, 0))
        printStatus(banner, deviceDataManager->VMRId(), wellCreated);
    else
        print(formatText("%@ Framework not supported under iOS 8", banner));
    printRetry(banner, *deviceDataManager, date, wellCreated);
}

} // namespace vmr
