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
#include <cstring>
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

/// A getter's key, and where its answer goes.
struct Slot {
    const char *key;
    void *result;
    std::size_t size;
    std::string_view name;
    std::size_t *length = nullptr;
    bool needsLength = false;

    /// What `held`, a pointer or an optional, holds; refuses when the value is of another type.
    const auto &require(const auto &held, std::string_view type) const {
        if (!held)
            refuse(VELMORA_WRONG_TYPE,
                   "what is stored under \"%@\" is not of the type %@: read it with the getter of "
                   "its type, or as JSON",
                   key, type);
        return *held;
    }
    void set(const auto &given) const { std::memcpy(result, &given, sizeof given); }
    void setCopy(std::string_view bytes) const { set(copyOut(bytes, length)); }
};

velmora_result get(const Slot &to, void (*take)(const Slot &to, const Value &held)) noexcept {
    if (to.result != nullptr)
        std::memset(to.result, 0, to.size);
    if (to.length != nullptr)
        *to.length = 0;
    return call([&] {
        requirePointer(to.result, to.name);
        if (to.needsLength)
            requirePointer(to.length, "length");
        take(to, stored(to.key));
    });
}

} // namespace
} // namespace vmr::api

using namespace vmr;
using namespace vmr::api;

extern "C" {

velmora_result velmora_preferences_get_string(const char *key, char **text, size_t *length) {
    return get({key, text, sizeof *text, "text", length}, [](const Slot &to, const Value &held) {
        to.setCopy(to.require(held.asString(), "string"));
    });
}

velmora_result velmora_preferences_get_integer(const char *key, int64_t *value) {
    return get({key, value, sizeof *value, "value"}, [](const Slot &to, const Value &held) {
        to.set(
            to.require(held.asInteger(), held.asLargeInteger() ? "integer below 2^63" : "integer"));
    });
}

velmora_result velmora_preferences_get_real(const char *key, double *value) {
    return get({key, value, sizeof *value, "value"}, [](const Slot &to, const Value &held) {
        to.set(to.require(held.asReal(), "real"));
    });
}

velmora_result velmora_preferences_get_boolean(const char *key, int *value) {
    return get({key, value, sizeof *value, "value"}, [](const Slot &to, const Value &held) {
        to.set(to.require(held.asBoolean(), "boolean") ? 1 : 0);
    });
}

velmora_result velmora_preferences_get_date(const char *key, double *seconds_since_1970) {
    return get({key, seconds_since_1970, sizeof *seconds_since_1970, "seconds_since_1970"},
               [](const Slot &to, const Value &held) {
                   to.set(to.require(held.asDate(), "date").secondsSince1970);
               });
}

velmora_result velmora_preferences_get_data(const char *key, void **bytes, size_t *length) {
    return get({key, bytes, sizeof *bytes, "bytes", length, true},
               [](const Slot &to, const Value &held) {
                   to.setCopy(to.require(held.asData(), "data").bytes());
               });
}

velmora_result velmora_preferences_get_json(const char *key, char **json) {
    return get({key, json, sizeof *json, "json"},
               [](const Slot &to, const Value &held) { to.setCopy(writeTaggedJSON(held)); });
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
