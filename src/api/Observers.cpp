#include "api/Arguments.h"
#include "api/Call.h"
#include "api/Host.h"
#include "api/HostContext.h"
#include "api/Refusal.h"
#include "platform/Platform.h"
#include "platform/Preferences.h"
#include "platform/TaggedJSON.h"

#include <optional>

namespace vmr::api {
namespace {

/// The host's callback as an observer.
class HostObserver final : public KeyValueObserver {
public:
    HostObserver(velmora_preferences_callback callback, HostContext &&context)
        : callback_(callback), context_(std::move(context)) {}

    void observeValueForKeyPath(const std::string &keyPath, const Preferences *,
                                const Dictionary &change, void *) override {
        const std::optional<std::string> now = json(change, NSKeyValueChangeNewKey);
        const std::optional<std::string> before = json(change, NSKeyValueChangeOldKey);
        callback_(keyPath.c_str(), now ? now->c_str() : nullptr, before ? before->c_str() : nullptr,
                  context_.get());
    }

private:
    static std::optional<std::string> json(const Dictionary &change, std::string_view key) {
        const Value value = valueForKey(change, key);
        if (value.isAbsent() || value.isNull())
            return std::nullopt;
        return writeTaggedJSON(value);
    }

    const velmora_preferences_callback callback_;
    HostContext context_;
};

} // namespace
} // namespace vmr::api

using namespace vmr;
using namespace vmr::api;

struct velmora_observer {
    std::shared_ptr<HostObserver> observer;
    std::string keyPath;
};

extern "C" {

velmora_result velmora_preferences_observe(const char *key, velmora_preferences_callback callback,
                                           void *context, velmora_release_callback release,
                                           velmora_observer **observer) {
    HostContext given(context, release);
    return answer(observer, "observer", [&] {
        if (callback == nullptr)
            refuse(VELMORA_INVALID_ARGUMENT, "\"callback\" is NULL: give a function");
        auto made = std::make_unique<velmora_observer>();
        if (key != nullptr)
            made->keyPath = requireKey(key);
        Preferences &preferences = *Host::shared().platform().services.preferences;
        made->observer = std::make_shared<HostObserver>(callback, std::move(given));
        preferences.addObserver(made->observer, made->keyPath, nullptr);
        return made.release();
    });
}

velmora_result velmora_preferences_unobserve(velmora_observer *observer) {
    return call([&] {
        if (observer == nullptr)
            return;
        const std::unique_ptr<velmora_observer> ending(observer);
        Host::shared().platform().services.preferences->removeObserver(ending->observer.get(),
                                                                       ending->keyPath);
    });
}

} // extern "C"
