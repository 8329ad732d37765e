#include "doctor/StoredConsent.h"

#include "StoredValue.h"
#include "Text.h"

#include <ctime>

namespace velmora::doctor {
namespace {

constexpr std::size_t longestQuotation = 80;

} // namespace

std::optional<tcf::TCFString> storedString(const char *key) {
    const auto value = storedValue(key);
    if (!value.is_string())
        return std::nullopt;
    auto decoded = tcf::decode(value.get_ref<const std::string &>(), std::time(nullptr));
    if (auto *string = std::get_if<tcf::TCFString>(&decoded))
        return std::move(*string);
    return std::nullopt;
}

std::string quoted(const std::string &text) {
    const bool isLong = text.size() > longestQuotation;
    return "\"" + escaped(text.substr(0, longestQuotation)) + (isLong ? "...\"" : "\"");
}

} // namespace velmora::doctor
