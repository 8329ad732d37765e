#include "platform/linux/http/BuiltInTransport.h"

namespace vmr {

HTTPSession *makeBuiltInSession(const CurlOptions &, SystemLog &, Activity &) {
    return nullptr;
}

} // namespace vmr
