#include "platform/Format.h"

#include "platform/NumberText.h"

#include <algorithm>

namespace vmr {
namespace {

using Held = FormatArgument::Held;

constexpr std::size_t describedBytes = std::size_t{1} << 20;

template <class... Cases>
struct Overloaded : Cases... {
    using Cases::operator()...;
};
template <class... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

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

void appendObject(std::string &out, const Held &held) {
    std::visit(Overloaded{[&](std::string_view text) { out += text; },
                          [&](const Value *value) { appendValue(out, *value); },
                          [&](const Dictionary *dictionary) {
                              appendValue(out, Value::dictionary(*dictionary));
                          },
                          [&](Date date) { out += date.description(); },
                          [&](double real) { out += Value::real(real).description(); },
                          [&](auto integer) { appendInteger(out, integer); }},
               held);
}

void appendSigned(std::string &out, const Held &held) {
    if (const double *real = std::get_if<double>(&held))
        appendInteger(out, Value::real(*real).integerValue());
    else if (const auto *value = std::get_if<const Value *>(&held))
        appendInteger(out, (*value)->integerValue());
    else
        appendObject(out, held);
}

void appendUnsigned(std::string &out, const Held &held, int base) {
    if (const auto *number = std::get_if<std::uint64_t>(&held))
        appendInteger(out, *number, base);
    else if (const auto *signedNumber = std::get_if<std::int64_t>(&held))
        appendInteger(out, static_cast<std::uint64_t>(*signedNumber), base);
    else
        appendSigned(out, held);
}

void appendDecimal(std::string &out, const Held &held) {
    if (const double *real = std::get_if<double>(&held))
        appendFixed(out, *real);
    else if (const auto *number = std::get_if<std::int64_t>(&held))
        appendFixed(out, static_cast<double>(*number));
    else if (const auto *unsignedNumber = std::get_if<std::uint64_t>(&held))
        appendFixed(out, static_cast<double>(*unsignedNumber));
    else if (const auto *value = std::get_if<const Value *>(&held))
        appendFixed(out, (*value)->realValue());
    else
        appendObject(out, held);
}

/// Fills in one placeholder; false when `conversion` is none.
bool appendConverted(std::string &out, char conversion, const Held &held) {
    switch (conversion) {
    case '@':
    case 's':
        appendObject(out, held);
        return true;
    case 'd':
        appendSigned(out, held);
        return true;
    case 'u':
        appendUnsigned(out, held, 10);
        return true;
    case 'x':
        appendUnsigned(out, held, 16);
        return true;
    case 'f':
        appendDecimal(out, held);
        return true;
    default:
        return false;
    }
}

std::size_t roomFor(std::string_view format, std::initializer_list<FormatArgument> arguments) {
    constexpr std::size_t roomForNumber = 24;
    std::size_t room = format.size();
    for (const FormatArgument &argument : arguments) {
        const auto *value = std::get_if<const Value *>(&argument.held());
        if (const auto *text = std::get_if<std::string_view>(&argument.held()))
            room += text->size();
        else if (const std::string *string = value ? (*value)->asString() : nullptr)
            room += string->size();
        else
            room += roomForNumber;
    }
    return room;
}

} // namespace

std::string formatArguments(std::string_view format,
                            std::initializer_list<FormatArgument> arguments) {
    static constexpr Held missing{FormatArgument::absent};
    std::string out;
    out.reserve(roomFor(format, arguments));
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
        if (!appendConverted(out, format[conversion], given ? argument->held() : missing))
            out += format.substr(percent, at - percent);
        else if (given)
            ++argument;
    }
    return out;
}

} // namespace vmr
