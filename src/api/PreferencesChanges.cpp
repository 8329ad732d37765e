#include "api/Arguments.h"
#include "api/Call.h"
#include "api/Host.h"
#include "api/Refusal.h"
#include "device/Keys.h"
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

/// What a setter is given; each fills in what its type needs.
struct Given {
    const void *bytes = nullptr;
    std::size_t length = 0;
    std::int64_t integer = 0;
    double real = 0;
};

velmora_result store(const char *key, const Given &given, Value (*makeValue)(const Given &given),
                     Where where = Where::here) noexcept {
    return call([&] {
        const std::string_view name = requireKey(key);
        set(where, name, makeValue(given));
    });
}

Value stringOf(const Given &given) {
    const std::string_view text =
        requireText(static_cast<const char *>(given.bytes), VELMORA_MAX_VALUE_LENGTH, "text");
    return Value::string(std::string(text));
}

Value valueOfJSON(const Given &given) {
    const auto value = readTaggedJSON(
        requireText(static_cast<const char *>(given.bytes), VELMORA_MAX_VALUE_LENGTH, "json"));
    if (!value)
        refuse(VELMORA_INVALID_ARGUMENT,
               "\"json\" is not a JSON text, or a tagged object in it is wrong: texts "
               "need quotes, dates are {\"$date\": seconds}, bytes {\"$data\": "
               "\"hexadecimal\"}");
    return value->isNull() ? Value() : *value;
}

Value nothing(const Given &) {
    return {};
}

} // namespace
} // namespace vmr::api

using namespace vmr;
using namespace vmr::api;

extern "C" {

velmora_result velmora_preferences_set_string(const char *key, const char *text) {
    return store(key, {.bytes = text}, stringOf);
}

velmora_result velmora_preferences_set_string_on_main_loop(const char *key, const char *text) {
    return store(key, {.bytes = text}, stringOf, Where::onMainLoop);
}

velmora_result velmora_preferences_set_text(const char *key, const char *text, size_t length) {
    return store(key, {.bytes = text, .length = length}, [](const Given &given) {
        return Value::string(
            std::string(requireText(static_cast<const char *>(given.bytes), given.length,
                                    VELMORA_MAX_VALUE_LENGTH, "text")));
    });
}

velmora_result velmora_preferences_set_integer(const char *key, int64_t value) {
    return store(key, {.integer = value},
                 [](const Given &given) { return Value::integer(given.integer); });
}

velmora_result velmora_preferences_set_real(const char *key, double value) {
    return store(key, {.real = value}, [](const Given &given) {
        requireFinite(given.real, "value");
        return Value::real(given.real);
    });
}

velmora_result velmora_preferences_set_boolean(const char *key, int value) {
    return store(key, {.integer = value},
                 [](const Given &given) { return Value::boolean(given.integer != 0); });
}

velmora_result velmora_preferences_set_date(const char *key, double seconds_since_1970) {
    return store(key, {.real = seconds_since_1970}, [](const Given &given) {
        requireFinite(given.real, "seconds_since_1970");
        return Value::date(Date{given.real});
    });
}

velmora_result velmora_preferences_set_data(const char *key, const void *bytes, size_t length) {
    return store(key, {.bytes = bytes, .length = length}, [](const Given &given) {
        return Value::data(Data(std::string(requireBytes(given.bytes, given.length, "bytes"))));
    });
}

velmora_result velmora_preferences_set_json(const char *key, const char *json) {
    return store(key, {.bytes = json}, valueOfJSON);
}

velmora_result velmora_preferences_set_json_on_main_loop(const char *key, const char *json) {
    return store(key, {.bytes = json}, valueOfJSON, Where::onMainLoop);
}

velmora_result velmora_preferences_remove(const char *key) {
    return store(key, {}, nothing);
}

velmora_result velmora_preferences_remove_on_main_loop(const char *key) {
    return store(key, {}, nothing, Where::onMainLoop);
}

} // extern "C"
