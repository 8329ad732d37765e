#include "api/Call.h"
#include "api/Host.h"
#include "api/Refusal.h"
#include "api/StoringScope.h"
#include "device/Keys.h"
#include "facade/VMRConfigManager.h"
#include "facade/Velmora.h"
#include "platform/linux/preferences/SQLitePreferences.h"

namespace vmr::api {
namespace {

/// All that the SDK ever writes; what it could not read stands under the same with an addition.
#define VMR_OWN(name, text) name,
constexpr std::string_view ownKeys[] = {VMRSavedConfigurationKey, DeviceDataKey,
                                        VMR_STORED_KEYS(VMR_OWN)};
#undef VMR_OWN

} // namespace
} // namespace vmr::api

using namespace vmr;
using namespace vmr::api;

extern "C" velmora_result velmora_erase(void) {
    return call([] {
        Host &host = Host::shared();
        host.requireMainThread();
        if (StoringScope::isActive())
            refuse(VELMORA_INVALID_STATE,
                   "the SDK is storing what this observer is told of: hand the call over with "
                   "velmora_run_loop_perform");
        SQLitePreferences &store = *host.platform().preferencesFile;
        const std::optional<bool> isInCharge = store.takeWork();
        if (!isInCharge)
            refuse(VELMORA_STORE_UNAVAILABLE,
                   "the preferences file's lock cannot be opened now: raise the limit of open "
                   "files, or free some space, then call again");
        if (!*isInCharge)
            refuse(VELMORA_INVALID_STATE,
                   "another process is in charge of the preferences file and would write "
                   "everything again: erase there, or end it first");
        Velmora::sharedVelmora()->stop();
        Host::markStarted(false);
        const bool isDone = store.erase(ownKeys);
        VMRConfigManager::forget();
        if (!isDone)
            refuse(VELMORA_STORE_UNAVAILABLE,
                   "what is kept could not be overwritten in the preferences file: fix what the "
                   "log says about it, then call again");
    });
}
