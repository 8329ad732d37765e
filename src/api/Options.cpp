#include "api/Arguments.h"
#include "api/Call.h"
#include "api/CheckedOptions.h"
#include "api/Host.h"
#include "api/Refusal.h"
#include "platform/JSON.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <list>

namespace vmr::api {
namespace {

// The structure only ever grows at its end. A host may have been built against a smaller one, whose
// missing members have their defaults, or against a larger one, as long as it leaves those members
// at their defaults that this library does not know. All defaults are zeros.
constexpr std::size_t firstSize = offsetof(velmora_options, log_context) + sizeof(void *);
constexpr std::size_t knownSize = sizeof(velmora_options);
constexpr std::size_t largestSize = 1024;

void requireSize(std::size_t size) {
    if (size < firstSize || size > largestSize)
        refuse(VELMORA_INVALID_ARGUMENT,
               "the size of velmora_options is %lu, this library knows %lu: call "
               "velmora_options_init with sizeof(velmora_options)",
               size, sizeof(velmora_options));
}

velmora_options knownPart(const velmora_options *given) {
    const std::size_t size = given->size;
    requireSize(size);
    velmora_options known{};
    std::memcpy(&known, given, std::min(size, knownSize));
    const auto *bytes = reinterpret_cast<const unsigned char *>(given);
    if (std::ranges::any_of(bytes + std::min(size, knownSize), bytes + size,
                            [](unsigned char byte) { return byte != 0; }))
        refuse(VELMORA_INVALID_ARGUMENT,
               "velmora_options has a member that this library does not know: leave it at "
               "its default, or use the library that the host was built against");
    return known;
}

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

extern "C" {

velmora_result velmora_options_init(velmora_options *options, size_t size) {
    return call(
        [&] {
            requirePointer(options, "options");
            requireSize(size);
            std::memset(static_cast<void *>(options), 0, size);
            options->size = size;
        },
        false);
}

velmora_result velmora_configure(const velmora_options *options) {
    return call([&] {
        requirePointer(options, "options");
        Host::shared().configure(checkedOptions(knownPart(options)));
    });
}

velmora_result velmora_configure_json(const char *json) {
    return call([&] {
        const Value object = requireJSON(json);
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

} // extern "C"
