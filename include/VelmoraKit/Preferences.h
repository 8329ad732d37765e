#pragma once

#include <VelmoraKit/Observation.h>

#include <cstdint>
#include <vector>

namespace VelmoraKit {

/// The application's key-value store, shared with the SDK and with other processes. Safe from any
/// thread. The consent strings are "IABTCF_TCString" (v2) and "IABConsent_ConsentString" (v1):
/// write them on the main run loop's thread, where the post that follows a change is due, or with
/// `setStringOnMainLoop`. What one call sets, and observers inside it, is stored together or not at
/// all.
///
/// A getter gives nothing when the key holds nothing or a value of another type: an integer is not
/// a real, 0 and 1 are not booleans. `json` reads any type.
class Preferences {
public:
    std::optional<std::string> string(std::string_view key) const {
        char *text = nullptr;
        std::size_t length = 0;
        if (!withKey(key, [&](const char *name) {
                return velmora_preferences_get_string(name, &text, &length);
            }))
            return std::nullopt;
        return detail::takeText(text, length);
    }
    std::optional<std::int64_t> integer(std::string_view key) const {
        return scalar<std::int64_t>(key, velmora_preferences_get_integer);
    }
    std::optional<double> real(std::string_view key) const {
        return scalar<double>(key, velmora_preferences_get_real);
    }
    std::optional<bool> boolean(std::string_view key) const {
        const std::optional<int> value = scalar<int>(key, velmora_preferences_get_boolean);
        return value ? std::optional<bool>(*value != 0) : std::nullopt;
    }
    /// Seconds since 1970.
    std::optional<double> date(std::string_view key) const {
        return scalar<double>(key, velmora_preferences_get_date);
    }
    std::optional<std::string> data(std::string_view key) const {
        void *bytes = nullptr;
        std::size_t length = 0;
        if (!withKey(key, [&](const char *name) {
                return velmora_preferences_get_data(name, &bytes, &length);
            }))
            return std::nullopt;
        return detail::takeText(static_cast<char *>(bytes), length);
    }
    /// Whatever is stored, as JSON text; dates and data are tagged objects.
    std::optional<std::string> json(std::string_view key) const {
        char *text = nullptr;
        if (!withKey(key,
                     [&](const char *name) { return velmora_preferences_get_json(name, &text); }))
            return std::nullopt;
        return detail::takeText(text);
    }

    Result setString(std::string_view key, std::string_view text) {
        return withKey(key, [&](const char *name) {
            return velmora_preferences_set_text(name, text.empty() ? "" : text.data(), text.size());
        });
    }
    Result setInteger(std::string_view key, std::int64_t value) {
        return withKey(
            key, [&](const char *name) { return velmora_preferences_set_integer(name, value); });
    }
    /// A finite number.
    Result setReal(std::string_view key, double value) {
        return withKey(key,
                       [&](const char *name) { return velmora_preferences_set_real(name, value); });
    }
    Result setBoolean(std::string_view key, bool value) {
        return withKey(key, [&](const char *name) {
            return velmora_preferences_set_boolean(name, value ? 1 : 0);
        });
    }
    /// A finite number.
    Result setDate(std::string_view key, double secondsSince1970) {
        return withKey(key, [&](const char *name) {
            return velmora_preferences_set_date(name, secondsSince1970);
        });
    }
    Result setData(std::string_view key, std::string_view bytes) {
        return withKey(key, [&](const char *name) {
            return velmora_preferences_set_data(name, bytes.empty() ? "" : bytes.data(),
                                                bytes.size());
        });
    }
    /// Any value; see velmora_preferences_set_json.
    Result setJson(std::string_view key, std::string_view json) {
        return withText(velmora_preferences_set_json, key, json);
    }
    Result remove(std::string_view key) { return withKey(key, velmora_preferences_remove); }

    /// From any thread: the main run loop does the same in one of its next passes; until then it is
    /// in memory alone. See velmora_preferences_set_string_on_main_loop.
    Result setStringOnMainLoop(std::string_view key, std::string_view text) {
        return withText(velmora_preferences_set_string_on_main_loop, key, text);
    }
    Result setJsonOnMainLoop(std::string_view key, std::string_view json) {
        return withText(velmora_preferences_set_json_on_main_loop, key, json);
    }
    Result removeOnMainLoop(std::string_view key) {
        return withKey(key, velmora_preferences_remove_on_main_loop);
    }
    /// Every key that holds something, in ascending order.
    std::vector<std::string> keys() const {
        char **names = nullptr;
        std::size_t count = 0;
        if (velmora_preferences_keys(&names, &count) != VELMORA_OK)
            return {};
        std::vector<std::string> taken(names, names + count);
        velmora_free(names);
        return taken;
    }
    /// Makes what was written durable before it returns; waits up to 3 s for a file that another
    /// process holds. Not true when it could not: the log says why.
    Result synchronize() { return Result(velmora_preferences_synchronize()); }

    /// Calls `callback(std::string_view key, const char *newJson, const char *oldJson)` for each
    /// change of the key, or of every key for nullptr, until the observation ends. The values are
    /// JSON texts, NULL where there is or was none. What the callback throws is dropped. When
    /// `result` is given it tells how it went; a failed observation is empty.
    template <class Callback>
    Observation observe(OptionalText key, Callback callback, Result *result = nullptr) {
        velmora_observer *observer = nullptr;
        const Result made =
            key.hasNul()
                ? detail::refuseNul()
                : Result(velmora_preferences_observe(
                      key.c_str(), call<Callback>, new Callback(std::move(callback)),
                      [](void *context) { delete static_cast<Callback *>(context); }, &observer));
        if (result != nullptr)
            *result = made;
        return Observation(observer);
    }

private:
    template <class Call>
    static Result withKey(std::string_view key, Call call) {
        const std::string name(key);
        if (name.find('\0') != std::string::npos)
            return detail::refuseNul();
        return Result(call(name.c_str()));
    }
    static Result withText(velmora_result (*set)(const char *, const char *), std::string_view key,
                           std::string_view value) {
        const std::string text(value);
        if (text.find('\0') != std::string::npos)
            return detail::refuseNul();
        return withKey(key, [&](const char *name) { return set(name, text.c_str()); });
    }
    template <class T>
    static std::optional<T> scalar(std::string_view key, velmora_result (*get)(const char *, T *)) {
        T value{};
        return withKey(key, [&](const char *name) { return get(name, &value); })
                   ? std::optional<T>(value)
                   : std::nullopt;
    }
    template <class Callback>
    static void call(const char *key, const char *newJson, const char *oldJson, void *context) {
        detail::callHost<Callback>(context, std::string_view(key), newJson, oldJson);
    }
};

} // namespace VelmoraKit
