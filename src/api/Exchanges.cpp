#include "api/Arguments.h"
#include "api/Call.h"
#include "api/Host.h"
#include "api/HostContext.h"
#include "network/ExchangeReport.h"
#include "platform/NotificationCenter.h"

namespace vmr::api {
namespace {

void tell(velmora_exchange_callback callback, const HostContext &context,
          const ExchangeReport &report) {
    const std::string error = report.error ? report.error->debugDescription() : std::string();
    velmora_exchange exchange{};
    exchange.size = sizeof exchange;
    exchange.kind = static_cast<velmora_exchange_kind>(report.kind);
    exchange.delivered = report.delivered ? 1 : 0;
    exchange.status = static_cast<int>(report.status.value_or(0));
    exchange.error_code = report.error ? static_cast<int>(report.error->code) : 0;
    exchange.error = report.error ? error.c_str() : nullptr;
    exchange.events = report.events;
    exchange.bytes = report.bytes;
    exchange.duration = report.duration;
    exchange.time = report.ended.secondsSince1970;
    callback(&exchange, context.get());
}

} // namespace
} // namespace vmr::api

using namespace vmr;
using namespace vmr::api;

struct velmora_exchange_observer {
    std::shared_ptr<HostContext> context;
};

extern "C" {

velmora_result velmora_observe_exchanges(velmora_exchange_callback callback, void *context,
                                         velmora_release_callback release,
                                         velmora_exchange_observer **observer) {
    HostContext given(context, release);
    return answer(observer, "observer", [&] {
        requirePointer(reinterpret_cast<const void *>(callback), "callback");
        auto made = std::make_unique<velmora_exchange_observer>();
        NotificationCenter &center = *Host::shared().platform().services.notificationCenter;
        made->context = std::make_shared<HostContext>(std::move(given));
        center.addObserver(made->context, VMRExchangeDidEndNotification,
                           [callback, held = made->context.get()](const Notification &ended) {
                               tell(callback, *held,
                                    *static_cast<const ExchangeReport *>(ended.object));
                           });
        return made.release();
    });
}

velmora_result velmora_unobserve_exchanges(velmora_exchange_observer *observer) {
    return call([&] {
        if (observer == nullptr)
            return;
        const std::unique_ptr<velmora_exchange_observer> ending(observer);
        Host::shared().platform().services.notificationCenter->removeObserver(
            ending->context.get());
    });
}

} // extern "C"
