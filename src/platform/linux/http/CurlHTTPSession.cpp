#include "platform/linux/http/CurlHTTPSession.h"

#include "platform/linux/http/CurlExchange.h"
#include "platform/linux/http/CurlWorker.h"

#include <atomic>

namespace vmr {
namespace {

class CurlDataTask final : public HTTPDataTask {
public:
    CurlDataTask(std::shared_ptr<CurlWorker> worker, std::unique_ptr<CurlExchange> exchange)
        : worker_(std::move(worker)), exchange_(std::move(exchange)) {}

    void resume() override {
        if (!resumed_.exchange(true))
            worker_->submit(std::move(exchange_));
    }

private:
    const std::shared_ptr<CurlWorker> worker_;
    std::unique_ptr<CurlExchange> exchange_;
    std::atomic<bool> resumed_{false};
};

} // namespace

CurlHTTPSession::CurlHTTPSession(const CurlOptions &options, const std::shared_ptr<SystemLog> &log,
                                 const std::shared_ptr<Activity> &activity)
    : worker_(std::make_shared<CurlWorker>(options, log, activity)) {}

CurlHTTPSession::~CurlHTTPSession() {
    worker_->shutDown();
}

std::shared_ptr<HTTPDataTask> CurlHTTPSession::dataTaskWithRequest(HTTPRequest request,
                                                                   Completion completion) {
    return std::make_shared<CurlDataTask>(
        worker_, std::make_unique<CurlExchange>(std::move(request), std::move(completion),
                                                worker_->options()));
}

} // namespace vmr
