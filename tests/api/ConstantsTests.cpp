#include <VelmoraKit/VelmoraKit.h>

#include <gtest/gtest.h>

namespace vmr::test {
namespace {

TEST(ExportedConstants, HoldTheTextsThatAreStoredAndSent) {
    const std::pair<const char *, const char *> texts[] = {
        {VMR_CONFIG_GET_DEVICE_REQUEST_TIME_INTERVAL, "GET_DEVICE_REQUEST_TIME_INTERVAL"},
        {VMR_CONFIG_LAST_POST_DEVICE_ATTEMPT_TIME_INTERVAL,
         "LAST_POST_DEVICE_ATTEMPT_TIME_INTERVAL"},
        {VMR_CONFIG_LOGS_REQUEST_SEND_TIME_INTERVAL, "LOGS_REQUEST_SEND_TIME_INTERVAL"},
        {VMR_CONFIG_LOGS_REQUEST_ATTEMPT_TIME_INTERVAL, "LOGS_REQUEST_ATTEMPT_TIME_INTERVAL"},
        {VMR_CONFIG_DISPLAY_LOGS, "DISPLAY_LOGS"},
        {VMR_CONFIG_ERRORS_POST_ACTIVATED, "ERRORS_COLLECT_ACTIVATED"},
        {VMR_CONFIG_ERRORS_POST_TIME_INTERVAL, "ERRORS_POST_TIME_INTERVAL"},
        {VMR_CONFIG_ERRORS_ATTEMPT_POST_TIME_INTERVAL, "ERRORS_ATTEMPT_POST_TIME_INTERVAL"},
        {VMR_CONFIG_ERRORS_ACTIVE_ARRAY_BUFFER_SIZE, "ERRORS_ACTIVE_ARRAY_BUFFER_SIZE"},
        {VMR_CONFIG_ERRORS_LATENT_ARRAY_BUFFER_SIZE, "ERRORS_LATENT_ARRAY_BUFFER_SIZE"},
        {DeviceDataVMRId, "VMRDeviceId"},
        {DeviceDataLastPostDeviceDate, "VMRLastPostDeviceDate"},
        {DeviceDataLastPostDeviceAttempt, "VMRLastPostDeviceAttemptDate"},
        {KEY_LAST_SENT_DEVICE_PARAMS, "last_device_params_sent"},
        {DeviceDataConsentEvents, "VMRConsentEventsArray"},
        {VMRLastPostConsentDatasDateKey, "VMRLastPostConsentDatasDateKey"},
        {VMRLastPostConsentDatasAttemptDateKey, "VMRLastPostConsentDatasAttemptDateKey"},
        {VMRLastTCFv1StringKey, "VMRLastTCFv1StringKey"},
        {VMRLastTCFv2StringKey, "VMRLastTCFv2StringKey"},
        {VMRLastStoredConsentDate, "VMRLastStoredConsentDate"},
        {VMRLogsArrayKey, "VMRLogsArray"},
        {VMRLastPostLogsDateKey, "VMRLastPostLogsDateKey"},
        {VMRLastPostLogsAttemptDateKey, "VMRLastPostLogsAttemptDate"},
        {KEY_LOGS_ERROR, "exception"},
        {KEY_LOGS_MESSAGE, "message"},
        {KEY_LOGS_TIMESTAMP, "timestamp"},
        {KEY_LOGS_STACKTRACE, "stacktrace"},
        {KEY_LOGS_METADATA, "metadata"},
        {reinterpret_cast<const char *>(VelmoraKitVersionString),
         "@(#)PROGRAM:VelmoraKit  PROJECT:VelmoraKit-1\n"},
    };
    for (const auto &[constant, text] : texts)
        EXPECT_STREQ(text, constant);
    EXPECT_EQ(1.0, VelmoraKitVersionNumber);
}

} // namespace
} // namespace vmr::test
