#include "api/Arguments.h"
#include "api/Call.h"
#include "api/Host.h"
#include "api/Refusal.h"
#include "api/StoringScope.h"
#include "consent/HandedOverStrings.h"
#include "facade/Velmora.h"
#include "network/IngestBaseAddress.h"
#include "network/VMRNetworkManager.h"
#include "platform/Format.h"
#include "platform/MainBundle.h"
#include "platform/NotificationCenter.h"
#include "platform/Platform.h"
#include "platform/Preferences.h"
#include "platform/RunLoop.h"
#include "platform/SystemLog.h"
#include "platform/linux/ForkedChild.h"
#include "platform/linux/SmallFile.h"
#include "platform/linux/StartScope.h"
#include "platform/linux/loops/LinuxRunLoops.h"
#include "platform/linux/preferences/SQLitePreferences.h"

using namespace vmr;
using namespace vmr::api;

namespace {

/// Does the work on the main run loop's thread: at once when that is the calling one.
void onMainLoop(std::function<void()> work) {
    if (!Host::isStarted())
        return;
    Host &host = Host::shared();
    if (host.platform().runLoops->isMainThread())
        work();
    else
        host.platform().services.runLoops->mainQueue().async(std::move(work));
}

bool holdsPEM(const std::string &path) {
    constexpr std::size_t most = std::size_t{16} << 20;
    std::string text;
    return readSmallFile(path.c_str(), most, text) == 0 &&
           text.find("-----BEGIN") != std::string::npos;
}

void say(std::string_view text, std::string_view argument) {
    platform().systemLog->write(formatText(text, argument), LogLevel::error);
}

/// What would else be noticed with the first post, which may be days away.
void tellWhatIsMissing(const std::optional<std::string> &key, const Secret &secret) {
    if (!platform().mainBundle->bundleIdentifier())
        platform().systemLog->write(
            "VelmoraKit: there is no bundle identifier of one line, the service does not learn "
            "which application this is: give bundle_identifier, or \"CFBundleIdentifier\" in "
            "Info.json");
    constexpr std::string_view lacks = "VelmoraKit: there is no %@, the service refuses every "
                                       "request: give it with the start call";
    if (key.value_or("").empty())
        say(lacks, "API key");
    if (secret.orElse({}).empty())
        say(lacks, "secret");
    const auto authorities = Host::shared().certificateAuthorityFile();
    if (authorities && !holdsPEM(*authorities))
        say("VelmoraKit: the file of trusted certificate authorities %@ cannot be read, or holds "
            "no certificate, every https request fails: name a readable PEM file as "
            "certificate_authority_file",
            *authorities);
    const std::string &address = VMRNetworkManager::s().front(); // says what is wrong with it
    if (configuredIngestAddress().isPlaceholder())
        say("VelmoraKit: nothing can be delivered, the ingest address is the placeholder %@: give "
            "ingest_base_address, \"VMRIngestBaseAddress\" in Info.json, or "
            "VELMORAKIT_INGEST_BASE_ADDRESS when the library is built",
            address);
}

} // namespace

extern "C" {

velmora_result velmora_start(const char *api_key, const char *secret) {
    return call([&] {
        const auto key = optionalLine(api_key, VELMORA_MAX_KEY_LENGTH, "api_key");
        auto secretText = optionalLine(secret, VELMORA_MAX_KEY_LENGTH, "secret");
        const Secret held = secretText ? Secret(*std::move(secretText)) : Secret();
        Host &host = Host::shared();
        host.requireMainThread();
        const StartScope scope;
        if (!Host::isStarted())
            tellWhatIsMissing(key, held);
        else
            platform().systemLog->write("VelmoraKit: the start call is made again: from now on "
                                        "every change is handled once more. Make it once");
        SQLitePreferences &store = *host.platform().preferencesFile;
        store.work([&store, key, held, isFirst = !Host::isStarted()] {
            const StoringScope storing;
            try {
                store.seeToHandovers(
                    [](const auto &handovers) { storeHandedOverStrings(handovers); });
                Velmora::initWithApiKey(key, held);
            } catch (...) { // half of it would go on beside the next try
                if (isFirst)
                    Velmora::sharedVelmora()->stop();
                throw;
            }
        });
        Host::markStarted(true);
    });
}

int velmora_is_started(void) {
    return Host::isStarted() && !isForkedChild() ? 1 : 0;
}

velmora_result velmora_will_enter_foreground(void) {
    return call([] {
        onMainLoop([] {
            platform().notificationCenter->postNotification(
                UIApplicationWillEnterForegroundNotification);
        });
    });
}

velmora_result velmora_device_update(void) {
    return call([] {
        if (Host::isStarted())
            Velmora::sharedVelmora()->performDeviceDataUpdateRequest();
    });
}

velmora_result velmora_device_response(const char *json) {
    return call([&] {
        onMainLoop([response = requireJSON(json)] {
            const StoringScope storing;
            Velmora::sharedVelmora()->onDeviceDataUpdateRequestResponse(response, Dictionary());
        });
    });
}

} // extern "C"
