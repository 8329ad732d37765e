#include "TypedValue.h"

#include "Arguments.h"
#include "CommandError.h"

namespace velmora {

velmora_result putTyped(const std::string &key, std::string_view type, std::string_view text) {
    const char *name = key.c_str();
    if (type == "string")
        return velmora_preferences_set_text(name, text.data(), text.size());
    if (type == "integer")
        return velmora_preferences_set_integer(name, integerFrom(text));
    if (type == "real")
        return velmora_preferences_set_real(name, realFrom(text));
    if (type == "boolean")
        return velmora_preferences_set_boolean(name, booleanFrom(text) ? 1 : 0);
    if (type == "date")
        return velmora_preferences_set_date(name, dateFrom(text));
    if (type == "data") {
        const std::string bytes = bytesFromHexadecimal(text);
        return velmora_preferences_set_data(name, bytes.data(), bytes.size());
    }
    if (type == "json")
        return velmora_preferences_set_json(name, std::string(text).c_str());
    throw CommandError("\"" + std::string(type) + "\" is not a type; there are " + typeNames);
}

} // namespace velmora
