#include "api/Arguments.h"
#include "api/Call.h"
#include "api/Host.h"
#include "api/Refusal.h"
#include "facade/Keys.h"
#include "facade/Velmora.h"
#include "platform/Platform.h"
#include "platform/Preferences.h"
#include "platform/SystemLog.h"
#include "platform/TaggedJSON.h"
#include "platform/linux/loops/LinuxRunLoops.h"

#include <atomic>

namespace vmr::api {
namespace {

/// Of a consent string that is set where no loop makes the call that posts it.
void tellIfUnsent(std::string_view key) {
    static std::atomic<bool> isTold{false};
    if ((key == TCFv1ConsentStringKey || key == TCFv2ConsentStringKey) && Host::isStarted() &&
        Velmora::sharedVelmora()->consentDataManager() &&
        !Host::shared().platform().runLoops->isMainThread() && !isTold.exchange(true))
        platform().systemLog->write(
            "VelmoraKit: a consent string was set on another thread than the main run loop's: its "
            "event is stored, but sent only with the next change there or the next return to the "
            "foreground. Set it with velmora_preferences_set_string_on_main_loop");
}

enum class Where { here, onMainLoop };

void set(Where where, std::string_view key, const Value &value) {
    const LinuxPlatform &platform = Host::shared().platform();
    if (where == Where::onMainLoop)
        return platform.runLoops->mainQueue().async([key = std::string(key), value] {
            vmr::platform().preferences->setObject(value, key);
        });
    platform.services.preferences->setObject(value, key);
    tellIfUnsent(key);
}

velmora_result store(const char *key, const auto &makeValue, Where where = Where::here) noexcept {
    return call([&] {
        const std::string_view name = requireKey(key);
        set(where, name, makeValue());
    });
}

velmora_result storeString(Where where, const char *key, const char *text) noexcept {
    return store(
        key,
        [&] {
            return Value::string(std::string(requireText(text, VELMORA_MAX_VALUE_LENGTH, "text")));
        },
        where);
}

velmora_result storeJSON(Where where, const char *key, const char *json) noexcept {
    return store(
        key,
        [&] {
            const auto value = readTaggedJSON(requireText(json, VELMORA_MAX_VALUE_LENGTH, "json"));
            if (!value)
                refuse(VELMORA_INVALID_ARGUMENT,
                       "\"json\" is not a JSON text, or a tagged object in it is wrong: texts "
                       "need quotes, dates are {\"$date\": seconds}, bytes {\"$data\": "
                       "\"hexadecimal\"}");
            return value->isNull() ? Value() : *value;
        },
        where);
}

velmora_result remove(Where where, const char *key) noexcept {
    return store(
        key, [] { return Value(); }, where);
}

} // namespace
} // namespace vmr::api

using namespace vmr;
using namespace vmr::api;

extern "C" {

velmora_result velmora_preferences_set_string(const char *key, const char *text) {
    return storeString(Where::here, key, text);
}

velmora_result velmora_preferences_set_string_on_main_loop(const char *key, const char *text) {
    return storeString(Where::onMainLoop, key, text);
}

velmora_result velmora_preferences_set_text(const char *key, const char *text, size_t length) {
    return store(key, [&] {
        return Value::string(
            std::string(requireText(text, length, VELMORA_MAX_VALUE_LENGTH, "text")));
    });
}

velmora_result velmora_preferences_set_integer(const char *key, int64_t value) {
    return store(key, [&] { return Value::integer(value); });
}

velmora_result velmora_preferences_set_real(const char *key, double value) {
    return store(key, [&] {
        requireFinite(value, "value");
        return Value::real(value);
    });
}

velmora_result velmora_preferences_set_boolean(const char *key, int value) {
    return store(key, [&] { return Value::boolean(value != 0); });
}

velmora_result velmora_preferences_set_date(const char *key, double seconds_since_1970) {
    return store(key, [&] {
        requireFinite(seconds_since_1970, "seconds_since_1970");
        return Value::date(Date{seconds_since_1970});
    });
}

velmora_result velmora_preferences_set_data(const char *key, const void *bytes, size_t length) {
    return store(
        key, [&] { return Value::data(Data(std::string(requireBytes(bytes, length, "bytes")))); });
}

velmora_result velmora_preferences_set_json(const char *key, const char *json) {
    return storeJSON(Where::here, key, json);
}

velmora_result velmora_preferences_set_json_on_main_loop(const char *key, const char *json) {
    return storeJSON(Where::onMainLoop, key, json);
}

velmora_result velmora_preferences_remove(const char *key) {
    return remove(Where::here, key);
}

velmora_result velmora_preferences_remove_on_main_loop(const char *key) {
    return remove(Where::onMainLoop, key);
}

} // extern "C"
