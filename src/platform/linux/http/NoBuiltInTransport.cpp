#include "platform/linux/http/BuiltInTransport.h"

namespace vmr {

std::shared_ptr<HTTPSession> makeBuiltInSession(const CurlOptions &,
                                                const std::shared_ptr<SystemLog> &,
                                                const std::shared_ptr<Activity> &) {
    return nullptr;
}

} // namespace vmr
