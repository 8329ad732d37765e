#pragma once

#include "platform/HTTPSession.h"
#include "platform/linux/http/CurlOptions.h"

namespace vmr {

class Activity;
class SystemLog;

/// The session of the library's own transport, never destroyed; null where it was built without
/// one. Which it is, is a choice of what is linked.
HTTPSession *makeBuiltInSession(const CurlOptions &options, SystemLog &log, Activity &activity);

} // namespace vmr
