#pragma once

#include <VelmoraKit/velmora.h>

#include <node_api.h>

#include <optional>
#include <string>

/// Between values of JavaScript and of the C interface. Everything here is called on the thread of
/// its environment.
namespace values {

inline napi_value undefined(napi_env env) {
    napi_value value = nullptr;
    napi_get_undefined(env, &value);
    return value;
}

inline napi_value text(napi_env env, const char *text) {
    napi_value value = nullptr;
    if (text == nullptr)
        napi_get_null(env, &value);
    else
        napi_create_string_utf8(env, text, NAPI_AUTO_LENGTH, &value);
    return value;
}

/// Nothing for undefined and null. What is no text is converted to one.
inline std::optional<std::string> text(napi_env env, napi_value value) {
    napi_valuetype type = napi_undefined;
    if (napi_typeof(env, value, &type) != napi_ok || type == napi_undefined || type == napi_null ||
        napi_coerce_to_string(env, value, &value) != napi_ok)
        return std::nullopt;
    std::size_t length = 0;
    napi_get_value_string_utf8(env, value, nullptr, 0, &length);
    std::string copied(length + 1, '\0');
    napi_get_value_string_utf8(env, value, copied.data(), copied.size(), &length);
    copied.resize(length);
    return copied;
}

/// Throws an Error with the members "code" and "function". Always gives undefined.
inline napi_value refuse(napi_env env, const char *function, const char *code,
                         const char *message) {
    napi_value error = nullptr;
    const std::string sentence = std::string(function) + ": " + message;
    napi_create_error(env, text(env, code), text(env, sentence.c_str()), &error);
    napi_set_named_property(env, error, "function", text(env, function));
    napi_throw(env, error);
    return undefined(env);
}

inline const char *nameOf(velmora_result result) {
    switch (result) {
    case VELMORA_INVALID_ARGUMENT:
        return "VELMORA_INVALID_ARGUMENT";
    case VELMORA_INVALID_UTF8:
        return "VELMORA_INVALID_UTF8";
    case VELMORA_TOO_LONG:
        return "VELMORA_TOO_LONG";
    case VELMORA_INVALID_STATE:
        return "VELMORA_INVALID_STATE";
    case VELMORA_NOT_FOUND:
        return "VELMORA_NOT_FOUND";
    case VELMORA_WRONG_TYPE:
        return "VELMORA_WRONG_TYPE";
    case VELMORA_WRONG_THREAD:
        return "VELMORA_WRONG_THREAD";
    case VELMORA_FORKED_CHILD:
        return "VELMORA_FORKED_CHILD";
    case VELMORA_OUT_OF_MEMORY:
        return "VELMORA_OUT_OF_MEMORY";
    case VELMORA_STORE_UNAVAILABLE:
        return "VELMORA_STORE_UNAVAILABLE";
    default:
        return "VELMORA_INTERNAL";
    }
}

/// Throws when the call that this thread has just made was refused.
inline bool check(napi_env env, const char *function, velmora_result result) {
    if (result != VELMORA_OK)
        refuse(env, function, nameOf(result), velmora_last_error_message());
    return result == VELMORA_OK;
}

/// What C would cut off at a NUL is refused.
inline bool hasNul(napi_env env, const char *function, const std::optional<std::string> &given) {
    if (!given || given->find('\0') == std::string::npos)
        return false;
    refuse(env, function, "VELMORA_INVALID_ARGUMENT",
           "the text contains a NUL, which ends a key or an option: leave it out");
    return true;
}

inline const char *orNull(const std::optional<std::string> &given) {
    return given ? given->c_str() : nullptr;
}

} // namespace values
