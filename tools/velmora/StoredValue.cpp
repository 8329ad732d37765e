#include "StoredValue.h"

#include "CommandError.h"

#include <memory>
#include <stdexcept>

namespace velmora {

void requireOK(velmora_result result) {
    switch (result) {
    case VELMORA_OK:
        return;
    case VELMORA_INVALID_ARGUMENT:
    case VELMORA_INVALID_UTF8:
    case VELMORA_TOO_LONG:
        throw CommandError(velmora_last_error_message());
    default:
        throw std::runtime_error(velmora_last_error_message());
    }
}

nlohmann::ordered_json storedValue(const std::string &key) {
    char *json = nullptr;
    const velmora_result result = velmora_preferences_get_json(key.c_str(), &json);
    const std::unique_ptr<char, decltype(&velmora_free)> owned(json, velmora_free);
    if (result == VELMORA_NOT_FOUND)
        return nullptr;
    requireOK(result);
    return nlohmann::ordered_json::parse(json);
}

std::string storedTypeInWords(const nlohmann::ordered_json &value) {
    if (value.is_string())
        return "a string";
    if (value.is_boolean())
        return "a boolean";
    if (value.is_number() || value.contains("$real"))
        return "a number";
    if (value.contains("$date"))
        return "a date";
    if (value.contains("$data"))
        return "data";
    if (value.is_null())
        return "the null marker";
    return value.is_array() ? "a list" : "a dictionary";
}

} // namespace velmora
