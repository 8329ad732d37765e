#include "api/Report.h"

namespace vmr::api {

Value Reported::value() const {
    if (const auto *value = std::get_if<const Value *>(&held_))
        return (*value)->isAbsent() ? Value::null() : **value;
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

Value reportOf(std::initializer_list<ReportEntry> entries) {
    Dictionary report;
    for (const auto &[name, content] : entries)
        put(report, name, content.value());
    return Value::dictionary(std::move(report));
}

} // namespace vmr::api
