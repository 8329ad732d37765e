#include "platform/Preferences.h"

#include "api/Arguments.h"
#include "api/Call.h"
#include "api/Host.h"
#include "api/Refusal.h"
#include "platform/Platform.h"
#include "platform/TaggedJSON.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <new>

namespace vmr::api {
namespace {

Preferences &preferences() {
    return *Host::shared().platform().services.preferences;
}

Value stored(const char *key) {
    const std::string_view name = requireKey(key);
    Value value = preferences().objectForKey(name);
    if (value.isAbsent())
        refuse(VELMORA_NOT_FOUND, "nothing is stored under \"%@\": set it first", name);
    return value;
}

/// What `held`, a pointer or an optional, holds; refuses when the value is of another type.
const auto &require(const auto &held, const char *key, std::string_view type) {
    if (!held)
        refuse(VELMORA_WRONG_TYPE,
               "what is stored under \"%@\" is not of the type %@: read it with the getter of its "
               "type, or as JSON",
               key, type);
    return *held;
}

} // namespace
} // namespace vmr::api

using namespace vmr;
using namespace vmr::api;

extern "C" {

velmora_result velmora_preferences_get_string(const char *key, char **text, size_t *length) {
    if (length != nullptr)
        *length = 0;
    return answer(text, "text", [&] {
        const Value value = stored(key);
        return copyOut(require(value.asString(), key, "string"), length);
    });
}

velmora_result velmora_preferences_get_integer(const char *key, int64_t *value) {
    return answer(value, "value", [&] {
        const Value held = stored(key);
        return require(held.asInteger(), key,
                       held.asLargeInteger() ? "integer below 2^63" : "integer");
    });
}

velmora_result velmora_preferences_get_real(const char *key, double *value) {
    return answer(value, "value", [&] { return require(stored(key).asReal(), key, "real"); });
}

velmora_result velmora_preferences_get_boolean(const char *key, int *value) {
    return answer(value, "value",
                  [&] { return require(stored(key).asBoolean(), key, "boolean") ? 1 : 0; });
}

velmora_result velmora_preferences_get_date(const char *key, double *seconds_since_1970) {
    return answer(seconds_since_1970, "seconds_since_1970", [&] {
        const Value value = stored(key);
        return require(value.asDate(), key, "date").secondsSince1970;
    });
}

velmora_result velmora_preferences_get_data(const char *key, void **bytes, size_t *length) {
    if (length != nullptr)
        *length = 0;
    return answer(bytes, "bytes", [&] {
        requirePointer(length, "length");
        const Value value = stored(key);
        return copyOut(require(value.asData(), key, "data").bytes(), length);
    });
}

velmora_result velmora_preferences_get_json(const char *key, char **json) {
    return answer(json, "json", [&] { return copyOut(writeTaggedJSON(stored(key))); });
}

velmora_result velmora_preferences_keys(char ***keys, size_t *count) {
    if (count != nullptr)
        *count = 0;
    return answer(keys, "keys", [&] {
        const std::vector<std::string> names = preferences().keys();
        const std::size_t table = (names.size() + 1) * sizeof(char *);
        std::size_t size = table;
        for (const std::string &name : names)
            size += name.size() + 1;
        auto *block = static_cast<char *>(std::malloc(size));
        if (block == nullptr)
            throw std::bad_alloc();
        auto **entry = reinterpret_cast<char **>(block);
        char *text = block + table;
        for (const std::string &name : names) {
            *entry++ = text;
            text = std::copy_n(name.c_str(), name.size() + 1, text);
        }
        *entry = nullptr;
        if (count != nullptr)
            *count = names.size();
        return reinterpret_cast<char **>(block);
    });
}

velmora_result velmora_preferences_synchronize(void) {
    return call([] {
        if (!preferences().synchronizeWithin(std::chrono::seconds(3)))
            refuse(VELMORA_STORE_UNAVAILABLE,
                   "what was set could not be made durable: fix what "
                   "the log says about the preferences, then call again");
    });
}

} // extern "C"
