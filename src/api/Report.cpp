#include "api/Report.h"

#include "platform/TaggedJSON.h"

namespace vmr::api {

Value Reported::value() const {
    if (const auto *value = std::get_if<const Value *>(&held_))
        return **value;
    if (const auto *text = std::get_if<std::string_view>(&held_))
        return Value::string(std::string(*text));
    if (const auto *real = std::get_if<double>(&held_))
        return Value::real(*real);
    if (const auto *flag = std::get_if<bool>(&held_))
        return Value::boolean(*flag);
    if (const auto *integer = std::get_if<std::int64_t>(&held_))
        return Value::integer(*integer);
    return Value::null();
}

std::string reportOf(std::string_view form, std::initializer_list<Reported> values) {
    std::string report;
    const Reported *next = values.begin();
    for (const char c : form) {
        if (c == '@')
            report += writeTaggedJSON((next++)->value());
        else
            report += c;
    }
    return report;
}

} // namespace vmr::api
