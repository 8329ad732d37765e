#include "platform/Format.h"

#include "platform/NumberText.h"

#include <algorithm>

namespace vmr {
namespace {

using Held = FormatArgument::Held;

constexpr std::string_view conversions = "@dufxs";
constexpr std::size_t describedBytes = std::size_t{1} << 20;

void appendFixed(std::string &out, double real) {
    char buffer[512];
    const auto end =
        std::to_chars(buffer, buffer + sizeof buffer, real, std::chars_format::fixed, 6).ptr;
    out.append(buffer, end);
}

void appendValue(std::string &out, const Value &value) {
    if (const std::string *text = value.asString())
        out += *text;
    else
        out += value.description(describedBytes);
}

/// The argument's type decides what is printed; of numbers, the conversion says how.
void appendArgument(std::string &out, char conversion, const Held &held) {
    if (const auto *text = std::get_if<std::string_view>(&held))
        out += *text;
    else if (const auto *value = std::get_if<const Value *>(&held))
        appendValue(out, **value);
    else if (const auto *dictionary = std::get_if<const Dictionary *>(&held))
        appendValue(out, Value::dictionary(**dictionary));
    else if (const auto *integer = std::get_if<std::int64_t>(&held))
        appendInteger(out, *integer);
    else if (const auto *natural = std::get_if<std::uint64_t>(&held))
        appendInteger(out, *natural, conversion == 'x' ? 16 : 10);
    else if (const auto *real = std::get_if<double>(&held); conversion == 'f')
        appendFixed(out, *real);
    else
        appendInteger(out, Value::real(*real).integerValue());
}

} // namespace

std::string formatArguments(std::string_view format,
                            std::initializer_list<FormatArgument> arguments) {
    static constexpr Held missing{FormatArgument::absent};
    std::string out;
    auto argument = arguments.begin();
    std::size_t at = 0;
    while (at < format.size()) {
        const std::size_t percent = std::min(format.find('%', at), format.size());
        out += format.substr(at, percent - at);
        std::size_t conversion = percent + 1;
        if (conversion < format.size() && format[conversion] == 'l')
            ++conversion;
        if (conversion >= format.size()) {
            out += format.substr(percent);
            break;
        }
        at = conversion + 1;
        if (format[conversion] == '%') {
            out += '%';
            continue;
        }
        const bool given = argument != arguments.end();
        if (conversions.find(format[conversion]) == std::string_view::npos)
            out += format.substr(percent, at - percent);
        else
            appendArgument(out, format[conversion], given ? (argument++)->held() : missing);
    }
    return out;
}

} // namespace vmr
