#include "platform/linux/http/BuiltInTransport.h"
#include "platform/linux/http/CurlHTTPSession.h"

namespace vmr {

std::shared_ptr<HTTPSession> makeBuiltInSession(const CurlOptions &options,
                                                const std::shared_ptr<SystemLog> &log,
                                                const std::shared_ptr<Activity> &activity) {
    return std::make_shared<CurlHTTPSession>(options, log, activity);
}

} // namespace vmr
