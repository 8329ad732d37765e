#include "api/Arguments.h"
#include "api/Call.h"
#include "api/Host.h"
#include "api/Refusal.h"
#include "platform/linux/loops/EpollRunLoop.h"
#include "platform/linux/loops/LinuxRunLoops.h"

#include <limits>

using namespace vmr::api;

namespace {

vmr::LinuxRunLoops &ownLoop() {
    Host::shared().requireMainThread();
    return *Host::shared().platform().runLoops;
}

} // namespace

extern "C" {

velmora_result velmora_run_loop_descriptor(int *descriptor) {
    if (descriptor != nullptr)
        *descriptor = -1;
    return call([&] {
        requirePointer(descriptor, "descriptor");
        *descriptor = Host::shared().platform().runLoops->main().descriptor();
        if (*descriptor < 0)
            refuse(VELMORA_INTERNAL, "the process can open no more descriptors: raise its "
                                     "limit or close some, then ask again");
    });
}

velmora_result velmora_run_loop_process(void) {
    return call([] { ownLoop().process(); });
}

velmora_result velmora_run_loop_run(double seconds) {
    return call([&] {
        requireFinite(seconds, "seconds");
        ownLoop().run(seconds < 0 ? std::numeric_limits<double>::infinity() : seconds);
    });
}

velmora_result velmora_run_loop_run_until_idle(double seconds, int *settled) {
    return answer(settled, "settled", [&] {
        requireFinite(seconds, "seconds");
        return ownLoop().runUntilIdle(seconds < 0 ? 0 : seconds) ? 1 : 0;
    });
}

velmora_result velmora_run_loop_perform(velmora_work_callback work, void *context) {
    return call([&] {
        requirePointer(reinterpret_cast<const void *>(work), "work");
        Host::shared().platform().runLoops->mainQueue().async([work, context] { work(context); });
    });
}

velmora_result velmora_run_loop_stop(void) {
    return call([] { Host::shared().platform().runLoops->main().stop(); });
}

} // extern "C"
