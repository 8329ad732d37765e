#include "fuzz/Fuzzer.h"
#include "tcf/TCFJSON.h"
#include "tcf/TCFText.h"

#include <sstream>

using namespace velmora::tcf;

namespace {

constexpr std::int64_t now = 1'760'000'000;

/// A text pays for what it costs: its sets have no more ranges than it has bits, and what is said
/// of it stays in proportion.
void requireBounds(const TCFString &string, std::size_t size) {
    std::size_t ranges = string.vendorConsents.ranges().size();
    for (const Restriction &each : string.publisherRestrictions)
        ranges += each.vendors.ranges().size();
    require(ranges <= size * 6);
    require(string.publisherRestrictions.size() <= 256 && string.problems.size() < 50);
    std::ostringstream json;
    writeJSON(json, string, IdForm::ranges);
    require(json.str().size() < 10'000 + size * 32);
    require(inWords(string).size() < 20'000 + size * 32);
}

} // namespace

/// Every text is answered, and what was decoded can be told, compared and told again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string_view text = fuzzedBytes(data, size);
    const auto decoded = decode(text, now);
    if (const auto *failure = std::get_if<Failure>(&decoded)) {
        require(failure->bit <= size * 6 && !failure->segment.empty() && !failure->field.empty());
        for (const char c : failure->text)
            require(c >= ' ' && c < 0x7f);
        return 0;
    }
    const auto &string = std::get<TCFString>(decoded);
    requireBounds(string, size);

    // A core alone says no more than with what follows it.
    const Difference none = difference(string, string);
    require(none.ids.empty() && none.values.empty());
    const auto other = decode(text.substr(0, text.find('.')), now);
    const auto &core = std::get<TCFString>(other);
    const Difference added = difference(core, string);
    for (const IdChange &change : added.ids)
        require(change.withdrawn.empty());
    inWords(added);
    return 0;
}
