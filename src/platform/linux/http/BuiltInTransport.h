#pragma once

#include "platform/HTTPSession.h"
#include "platform/linux/http/CurlOptions.h"

#include <memory>

namespace vmr {

class Activity;
class SystemLog;

/// The session of the library's own transport; empty where it was built without one. Which it is,
/// is a choice of what is linked.
std::shared_ptr<HTTPSession> makeBuiltInSession(const CurlOptions &options,
                                                const std::shared_ptr<SystemLog> &log,
                                                const std::shared_ptr<Activity> &activity);

} // namespace vmr
