#include "support/Scenario.h"
#include "tcf/TCFJSON.h"
#include "tcf/TCFText.h"

#include <nlohmann/json.hpp>

#include <map>
#include <sstream>

namespace {

using namespace velmora::tcf;
using Decoded = std::variant<TCFString, Failure>;

Decoded decoded(std::string_view text) {
    constexpr std::int64_t january2027 = 1'800'000'000;
    return decode(text, january2027);
}

/// Empty when the text can be decoded.
Failure failureOf(std::string_view text) {
    const Decoded result = decoded(text);
    const auto *failure = std::get_if<Failure>(&result);
    return failure != nullptr ? *failure : Failure{};
}

template <class Shown>
std::string jsonOf(const Shown &shown, IdForm form) {
    std::ostringstream out;
    writeJSON(out, shown, form);
    return out.str() + "\n";
}

std::string problems(const std::string &text) {
    const Decoded result = decoded(text);
    if (const auto *failure = std::get_if<Failure>(&result))
        return failure->text + "\n";
    std::string lines;
    for (const Problem &problem : std::get<TCFString>(result).problems)
        lines += problem.text + "; " + problem.remedy + "\n";
    return lines.empty() ? "none\n" : lines;
}

std::string compare(const std::string &both) {
    const std::size_t blank = both.find(' ');
    const auto before = decoded(both.substr(0, blank)), after = decoded(both.substr(blank + 1));
    const Difference found = difference(std::get<TCFString>(before), std::get<TCFString>(after));
    return jsonOf(found, IdForm::ranges) + inWords(found);
}

/// The fields in which the text ends when it is cut, at every length.
std::string cuts(const std::string &text) {
    std::string lines;
    std::string last;
    for (std::size_t length = 0, begin = 0; length < text.size(); ++length) {
        if (length > 0 && text[length - 1] == '.')
            begin = length;
        const Failure failure = failureOf(text.substr(0, length));
        std::string field = failure.segment + ": " + failure.field;
        if (failure.text.empty())
            field = "a whole string";
        else if (failure.bit != (length - begin) * 6)
            field += ", at another bit than the last";
        // A character that is none is found in the same place.
        else if (failureOf(text.substr(0, length) + "%" + text.substr(length)).field !=
                 failure.field)
            field += ", not where a wrong character is found";
        if (field != last)
            lines += std::to_string(length) + " " + field + "\n";
        last = field;
    }
    return lines;
}

const std::map<std::string, std::string (*)(const std::string &)> commands = {
    {"ids", [](const std::string &text) { return jsonOf(decoded(text), IdForm::ids); }},
    {"ranges", [](const std::string &text) { return jsonOf(decoded(text), IdForm::ranges); }},
    {"problems", problems},
    {"compare", compare},
    {"cuts", cuts},
    {"date", [](const std::string &tenths) { return dateInWords(std::stoll(tenths)) + "\n"; }},
};

} // namespace

/// A string in quotation marks is JSON, for characters that no text should hold.
int main(int, char **argv) {
    return vmr::test::playScenario(argv[1], [](const std::string &line) {
        const std::size_t blank = line.find(' ');
        std::string argument = line.substr(blank + 1);
        if (argument.starts_with('"'))
            argument = nlohmann::json::parse(argument).get<std::string>();
        std::string seen = commands.at(line.substr(0, blank))(argument);
        for (std::size_t at = 0; (at = seen.find("\n\n", at)) != std::string::npos;)
            seen.insert(at + 1, "(an empty line)");
        return seen;
    });
}
