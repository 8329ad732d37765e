#include "tcf/TCFString.h"

#include "tcf/Rules.h"
#include "tcf/Segments.h"

namespace velmora::tcf {
namespace {

void checkAlphabet(std::string_view text, std::vector<Problem> &problems) {
    if (text.find_first_of("+/=") != std::string_view::npos)
        problems.push_back({"it is written in standard base64 (+, / or =) instead of base64url",
                            "have the consent tool write - for +, _ for /, and no ="});
}

TCFString decodeOrThrow(std::string_view text) {
    const std::size_t end = text.find('.');
    Segment core(text.substr(0, end), "core");
    TCFString string = readCore(core);
    checkAlphabet(text, string.problems);
    if (end == std::string_view::npos)
        return string;
    if (string.version == 1)
        string.problems.push_back(
            {"more follows after its full stop, but version 1 has one segment", encoderRemedy});
    else
        readFurtherSegments(text.substr(end + 1), string);
    return string;
}

} // namespace

void checkEnd(Segment &segment, std::vector<Problem> &problems) {
    if (!segment.endsInZeros())
        problems.push_back(
            {segment.name() + ": the bits after the last field are not 0", encoderRemedy});
}

std::variant<TCFString, Failure> decode(std::string_view text, std::int64_t now) {
    try {
        TCFString string = decodeOrThrow(text);
        checkRules(string, now);
        return string;
    } catch (Failure &failure) {
        return std::move(failure);
    }
}

} // namespace velmora::tcf
