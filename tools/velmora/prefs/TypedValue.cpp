#include "prefs/TypedValue.h"

#include "run/Arguments.h"
#include "run/Commands.h"

namespace velmora::prefs {

velmora_result putTyped(const std::string &key, const std::string &type, const std::string &text) {
    const char *name = key.c_str();
    if (type == "string")
        return velmora_preferences_set_string(name, text.c_str());
    if (type == "integer")
        return velmora_preferences_set_integer(name, integerFrom(text));
    if (type == "real")
        return velmora_preferences_set_real(name, realFrom(text));
    if (type == "boolean")
        return velmora_preferences_set_boolean(name, booleanFrom(text) ? 1 : 0);
    if (type == "date")
        return velmora_preferences_set_date(name, realFrom(text));
    if (type == "data") {
        const std::string bytes = bytesFromHexadecimal(text);
        return velmora_preferences_set_data(name, bytes.data(), bytes.size());
    }
    if (type == "json")
        return velmora_preferences_set_json(name, text.c_str());
    throw CommandError("\"" + type + "\" is no type; there are " + typeNames);
}

} // namespace velmora::prefs
