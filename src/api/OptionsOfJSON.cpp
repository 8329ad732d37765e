#include "api/Arguments.h"
#include "api/Call.h"
#include "api/CheckedOptions.h"
#include "api/Host.h"
#include "api/Refusal.h"
#include "platform/JSON.h"

#include <algorithm>
#include <limits>
#include <list>

namespace vmr::api {
namespace {

std::string textOf(const Value &entry, std::string_view name) {
    if (entry.asDictionary() != nullptr && name == "information_dictionary")
        return writeJSON(entry, JSONStyle::compact);
    const std::string *text = entry.asString();
    if (text == nullptr)
        refuse(VELMORA_INVALID_ARGUMENT, "\"%@\" is not a text: give it in quotes", name);
    if (text->find('\0') != std::string::npos)
        refuse(VELMORA_INVALID_ARGUMENT, "\"%@\" holds a NUL: give the characters alone", name);
    return *text;
}

std::uint32_t numberOf(const Value &entry, std::string_view name) {
    const std::int64_t number =
        entry.asBoolean() ? std::int64_t{entry.boolValue()} : entry.asInteger().value_or(-1);
    if (number < 0)
        refuse(VELMORA_INVALID_ARGUMENT,
               "\"%@\" is not a whole number from 0 on: give one, or false or true", name);
    constexpr std::uint32_t largest = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(std::min<std::int64_t>(number, largest));
}

} // namespace
} // namespace vmr::api

using namespace vmr;
using namespace vmr::api;

extern "C" velmora_result velmora_configure_json(const char *json) {
    return call([&] {
        const auto read = readJSON(requireText(json, VELMORA_MAX_VALUE_LENGTH, "json"));
        if (const auto *error = std::get_if<PlatformError>(&read))
            refuse(VELMORA_INVALID_ARGUMENT, "\"json\" is not a JSON object or array: %@",
                   error->debugDescription());
        const Value &object = std::get<Value>(read);
        if (object.asDictionary() == nullptr)
            refuse(VELMORA_INVALID_ARGUMENT,
                   "\"json\" is not a JSON object of options: give for instance "
                   "{\"keep_unsent\": true}");
        velmora_options given{};
        std::list<std::string> texts;
        for (const auto &[name, entry] : *object.asDictionary()) {
            const Option *option = findOption(name);
            if (option == nullptr)
                refuse(VELMORA_INVALID_ARGUMENT,
                       "\"%@\" is not an option: give the name of a member of velmora_options, "
                       "store_path for instance",
                       name);
            if (entry.isNull())
                continue;
            if (option->text != nullptr)
                given.*option->text = texts.emplace_back(textOf(entry, name)).c_str();
            else
                given.*option->number = numberOf(entry, name);
        }
        Host::shared().configure(checkedOptions(given));
    });
}
