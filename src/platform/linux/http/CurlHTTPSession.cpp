#include "platform/linux/http/CurlHTTPSession.h"

#include "platform/linux/http/BuiltInTransport.h"
#include "platform/linux/http/CurlWorker.h"

#include <utility>

namespace vmr {

CurlHTTPSession::CurlHTTPSession(const CurlOptions &options, const std::shared_ptr<SystemLog> &log,
                                 const std::shared_ptr<Activity> &activity)
    : worker_(std::make_shared<CurlWorker>(options, log, activity)) {}

CurlHTTPSession::~CurlHTTPSession() {
    worker_->shutDown();
}

void CurlHTTPSession::send(HTTPRequest request, Completion completion) {
    worker_->submit(std::move(request), std::move(completion));
}

std::shared_ptr<HTTPSession> makeBuiltInSession(const CurlOptions &options,
                                                const std::shared_ptr<SystemLog> &log,
                                                const std::shared_ptr<Activity> &activity) {
    return std::make_shared<CurlHTTPSession>(options, log, activity);
}

} // namespace vmr
