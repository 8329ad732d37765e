#include "consent/ConsentKeys.h"
#include "device/VMRDeviceDataManager.h"
#include "errors/ErrorKeys.h"
#include "facade/ConfigurationKeys.h"

#include <VelmoraKit/Constants.h>

extern "C" {

const char *const VMR_CONFIG_GET_DEVICE_REQUEST_TIME_INTERVAL =
    vmr::VMR_CONFIG_GET_DEVICE_REQUEST_TIME_INTERVAL.data();
const char *const VMR_CONFIG_LAST_POST_DEVICE_ATTEMPT_TIME_INTERVAL =
    vmr::VMR_CONFIG_LAST_POST_DEVICE_ATTEMPT_TIME_INTERVAL.data();
const char *const VMR_CONFIG_LOGS_REQUEST_SEND_TIME_INTERVAL =
    vmr::VMR_CONFIG_LOGS_REQUEST_SEND_TIME_INTERVAL.data();
const char *const VMR_CONFIG_LOGS_REQUEST_ATTEMPT_TIME_INTERVAL =
    vmr::VMR_CONFIG_LOGS_REQUEST_ATTEMPT_TIME_INTERVAL.data();
const char *const VMR_CONFIG_DISPLAY_LOGS = vmr::VMR_CONFIG_DISPLAY_LOGS.data();
const char *const VMR_CONFIG_ERRORS_POST_ACTIVATED = vmr::VMR_CONFIG_ERRORS_POST_ACTIVATED.data();
const char *const VMR_CONFIG_ERRORS_POST_TIME_INTERVAL =
    vmr::VMR_CONFIG_ERRORS_POST_TIME_INTERVAL.data();
const char *const VMR_CONFIG_ERRORS_ATTEMPT_POST_TIME_INTERVAL =
    vmr::VMR_CONFIG_ERRORS_ATTEMPT_POST_TIME_INTERVAL.data();
const char *const VMR_CONFIG_ERRORS_ACTIVE_ARRAY_BUFFER_SIZE =
    vmr::VMR_CONFIG_ERRORS_ACTIVE_ARRAY_BUFFER_SIZE.data();
const char *const VMR_CONFIG_ERRORS_LATENT_ARRAY_BUFFER_SIZE =
    vmr::VMR_CONFIG_ERRORS_LATENT_ARRAY_BUFFER_SIZE.data();

const char *const DeviceDataVMRId = vmr::DeviceDataVMRId.data();
const char *const DeviceDataLastPostDeviceDate = vmr::DeviceDataLastPostDeviceDate.data();
const char *const DeviceDataLastPostDeviceAttempt = vmr::DeviceDataLastPostDeviceAttempt.data();
const char *const KEY_LAST_SENT_DEVICE_PARAMS = vmr::KEY_LAST_SENT_DEVICE_PARAMS.data();

const char *const DeviceDataConsentEvents = vmr::DeviceDataConsentEvents.data();
const char *const VMRLastPostConsentDatasDateKey = vmr::VMRLastPostConsentDatasDateKey.data();
const char *const VMRLastPostConsentDatasAttemptDateKey =
    vmr::VMRLastPostConsentDatasAttemptDateKey.data();
const char *const VMRLastTCFv1StringKey = vmr::VMRLastTCFv1StringKey.data();
const char *const VMRLastTCFv2StringKey = vmr::VMRLastTCFv2StringKey.data();
const char *const VMRLastStoredConsentDate = vmr::VMRLastStoredConsentDate.data();

const char *const VMRLogsArrayKey = vmr::VMRLogsArrayKey.data();
const char *const VMRLastPostLogsDateKey = vmr::VMRLastPostLogsDateKey.data();
const char *const VMRLastPostLogsAttemptDateKey = vmr::VMRLastPostLogsAttemptDateKey.data();

const char *const KEY_LOGS_ERROR = vmr::KEY_LOGS_ERROR.data();
const char *const KEY_LOGS_MESSAGE = vmr::KEY_LOGS_MESSAGE.data();
const char *const KEY_LOGS_TIMESTAMP = vmr::KEY_LOGS_TIMESTAMP.data();
const char *const KEY_LOGS_STACKTRACE = vmr::KEY_LOGS_STACKTRACE.data();
const char *const KEY_LOGS_METADATA = vmr::KEY_LOGS_METADATA.data();

const unsigned char VelmoraKitVersionString[] = "@(#)PROGRAM:VelmoraKit  PROJECT:VelmoraKit-1\n";
const double VelmoraKitVersionNumber = 1.0;

} // extern "C"
