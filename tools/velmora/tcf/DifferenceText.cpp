#include "tcf/Lines.h"
#include "tcf/TCFNames.h"
#include "tcf/TCFText.h"

#include <algorithm>
#include <iterator>

namespace velmora::tcf {
namespace {

struct EntryName {
    std::string_view entry;
    std::string_view label;
    /// What one of the ids is called; null where that is not known here.
    std::string_view (*idName)(unsigned id);
};

std::string_view purposeOfVersion2(unsigned id) {
    return purposeName(2, id);
}

std::string_view purposeOfVersion1(unsigned id) {
    return purposeName(1, id);
}

constexpr EntryName entryNames[] = {
    {"purposeConsents", "consent, purpose", purposeOfVersion2},
    {"purposeLegitimateInterests", "interest, purpose", purposeOfVersion2},
    {"purposesAllowed", "allowed, purpose", purposeOfVersion1},
    {"specialFeatureOptIns", "opt-in, feature", specialFeatureName},
    {"vendorConsents", "consent, vendors", nullptr},
    {"vendorLegitimateInterests", "interest, vendors", nullptr},
    {"disclosedVendors", "disclosed vendors", nullptr},
    {"allowedVendors", "allowed vendors", nullptr},
    {"publisherPurposes.purposeConsents", "publisher's consent", purposeOfVersion2},
    {"publisherPurposes.purposeLegitimateInterests", "publisher's interest", purposeOfVersion2},
    {"publisherPurposes.customPurposeConsents", "custom consent", nullptr},
    {"publisherPurposes.customPurposeLegitimateInterests", "custom interest", nullptr},
};

void describe(Lines &lines, std::string_view entry, const IdSet &ids) {
    const auto *known = std::find_if(std::begin(entryNames), std::end(entryNames),
                                     [&](const EntryName &each) { return each.entry == entry; });
    if (known->idName == nullptr)
        return lines.row(known->label, std::to_string(ids.count()) + ": " + inWords(ids));
    for (const IdRange &range : ids.ranges())
        for (unsigned id = range.first; id <= range.last; ++id)
            lines.row(known->label, std::to_string(id) + " " + std::string(known->idName(id)));
}

void describe(Lines &lines, std::string_view heading, const Difference &difference,
              IdSet IdChange::*side) {
    if (std::all_of(difference.ids.begin(), difference.ids.end(),
                    [&](const IdChange &change) { return (change.*side).empty(); }))
        return;
    lines.heading(heading);
    for (const IdChange &change : difference.ids)
        if (!(change.*side).empty())
            describe(lines, change.entry, change.*side);
}

} // namespace

std::string inWords(const Difference &difference) {
    Lines lines;
    if (difference.ids.empty())
        lines.heading("Nothing was granted and nothing withdrawn");
    describe(lines, "Granted", difference, &IdChange::granted);
    describe(lines, "Withdrawn", difference, &IdChange::withdrawn);
    if (!difference.comparesPurposes)
        lines.remark("the strings have two versions, whose purposes are not the same ones; only "
                     "the vendors were compared");
    if (!difference.values.empty())
        lines.heading("Also changed");
    for (const ValueChange &change : difference.values)
        lines.row(change.entry, change.before + " before, now " + change.after);
    return lines.text();
}

} // namespace velmora::tcf
