#include "CommandError.h"
#include "LineInput.h"
#include "Subcommand.h"
#include "Subcommands.h"
#include "tcf/TCFJSON.h"
#include "tcf/TCFText.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <ctime>
#include <iostream>
#include <memory>

namespace velmora {
namespace {

using namespace tcf;
using Decoded = std::variant<TCFString, Failure>;

struct Arguments {
    std::vector<std::string> strings;
    std::vector<std::string> compared;
    bool isJson = false;
};

constexpr const char *footer =
    R"(Decodes consent strings of the Transparency and Consent Framework, versions 1.1 and 2.0 to 2.3:
those given, or without any those on standard input, one a line. With --json every string is
answered by one line; the entries are explained in docs/consent-strings.md.

"Problems" are what a consent tool must not write although it can be read. A text that is not a consent
string is answered by where it stops being one: segment, field and bit. The exit status is then 1.

Example:
  velmora tcf CQSbk4AQSbk4ANwAAAENAwCgAAAAAAAAAAYgACPAAAAA.IDKQA4AAgAKAGQAygAAA.YAAAAAAAAAAA
  velmora tcf --diff OLD NEW
  velmora prefs get IABTCF_TCString --store app/preferences.sqlite
)";

/// Writes the strings as they come, and remembers whether one could not be decoded.
class Writer {
public:
    explicit Writer(bool isJson) : isJson_(isJson) {}

    void write(const Decoded &decoded) {
        if (isJson_) {
            writeJSON(std::cout, decoded);
            std::cout << '\n';
        } else {
            writeText(decoded);
        }
        // Whoever writes the lines one by one waits for each answer.
        std::cout.flush();
        isFirst_ = false;
        hasFailed_ = hasFailed_ || std::holds_alternative<Failure>(decoded);
    }
    bool hasFailed() const { return hasFailed_; }

private:
    void writeText(const Decoded &decoded) const {
        if (!isFirst_)
            std::cout << '\n';
        if (const auto *failure = std::get_if<Failure>(&decoded))
            std::cout << "Not a consent string: " << failure->text << '\n';
        else
            std::cout << inWords(std::get<TCFString>(decoded));
    }

    bool isJson_;
    bool isFirst_ = true;
    bool hasFailed_ = false;
};

Decoded decodeNow(std::string_view text) {
    return decode(text, std::time(nullptr));
}

void readLines(Writer &writer) {
    LineInput input;
    for (bool atEnd = false; !atEnd;) {
        atEnd = !input.read();
        while (const auto line = input.nextLine(atEnd))
            writer.write(decodeNow(*line));
        if (input.takeTooLong())
            writer.write(Failure{"core", "Version", 0, "the line is longer than 40 MiB"});
    }
}

/// Whether both could be decoded.
bool compare(const Arguments &arguments) {
    const Decoded before = decodeNow(arguments.compared[0]);
    const Decoded after = decodeNow(arguments.compared[1]);
    bool isDecoded = true;
    for (const auto &[name, decoded] : {std::pair("OLD", &before), std::pair("NEW", &after)})
        if (const auto *failure = std::get_if<Failure>(decoded)) {
            std::fprintf(stderr, "velmora: %s is not a consent string: %s\n", name,
                         failure->text.c_str());
            isDecoded = false;
        }
    if (!isDecoded)
        return false;
    const Difference found = difference(std::get<TCFString>(before), std::get<TCFString>(after));
    if (arguments.isJson) {
        writeJSON(std::cout, found);
        std::cout << '\n';
    } else {
        std::cout << inWords(found);
    }
    return true;
}

bool run(const Arguments &arguments) {
    if (!arguments.compared.empty() && !arguments.strings.empty())
        throw CommandError("--diff takes two strings, not more; give it without others");
    if (!arguments.compared.empty())
        return compare(arguments);
    Writer writer(arguments.isJson);
    if (arguments.strings.empty())
        readLines(writer);
    for (const std::string &text : arguments.strings)
        writer.write(decodeNow(text));
    return !writer.hasFailed();
}

} // namespace

void addTcf(CLI::App &app) {
    CLI::App *command = app.add_subcommand("tcf", "Explains consent strings in words");
    const auto arguments = std::make_shared<Arguments>();
    command->add_option("STRING", arguments->strings, "A consent string")->type_name("");
    command->add_flag("--json", arguments->isJson, "A line of JSON for each string");
    command
        ->add_option("--diff", arguments->compared,
                     "What was granted and what was withdrawn between two strings")
        ->type_name("OLD NEW")
        ->type_size(2)
        ->expected(1);
    command->footer(footer);
    command->callback([arguments] {
        if (!run(*arguments))
            throw CLI::RuntimeError(1);
    });
}

} // namespace velmora
