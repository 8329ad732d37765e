#include "tcf/Ranges.h"
#include "tcf/Segments.h"

#include <array>

namespace velmora::tcf {
namespace {

enum Type { disclosedVendors = 1, allowedVendors = 2, publisherPurposes = 3 };
constexpr unsigned bitsOfType = 3;

PublisherPurposes readPublisherPurposes(Segment &segment) {
    PublisherPurposes purposes;
    purposes.consents = segment.row("PubPurposesConsent", 24);
    purposes.legitimateInterests = segment.row("PubPurposesLITransparency", 24);
    purposes.customCount = segment.integer("NumCustomPurposes", 6);
    const auto count = static_cast<std::size_t>(purposes.customCount);
    purposes.customConsents = segment.row("CustomPurposesConsent", count);
    purposes.customLegitimateInterests = segment.row("CustomPurposesLITransparency", count);
    return purposes;
}

/// Whether the type is known.
bool readContent(Segment &segment, std::size_t type, TCFString &string) {
    switch (type) {
    case disclosedVendors:
        segment.setName("disclosed vendors segment");
        string.disclosedVendors = readVendors(segment, "disclosed vendors", string.problems);
        return true;
    case allowedVendors:
        segment.setName("allowed vendors segment");
        string.allowedVendors = readVendors(segment, "allowed vendors", string.problems);
        return true;
    case publisherPurposes:
        segment.setName("publisher purposes segment");
        string.publisherPurposes = readPublisherPurposes(segment);
        return true;
    default:
        return false;
    }
}

void reportTypes(const std::array<std::size_t, 1U << bitsOfType> &counts,
                 std::vector<Problem> &problems) {
    for (std::size_t type = 0; type < counts.size(); ++type) {
        const std::string name = "segment of type " + std::to_string(type);
        const bool isKnown = type >= disclosedVendors && type <= publisherPurposes;
        if (!isKnown && counts[type] > 0)
            problems.push_back({"there is a " + name + ", which means nothing", encoderRemedy});
        else if (counts[type] > 1)
            problems.push_back({"there are " + std::to_string(counts[type]) + " segments of type " +
                                    std::to_string(type) + "; only the first counts",
                                encoderRemedy});
    }
}

} // namespace

void readFurtherSegments(std::string_view text, TCFString &string) {
    // By type, so that a thousand faulty segments are no more problems than one.
    std::array<std::size_t, 1U << bitsOfType> counts{};
    bool isLast = false;
    for (std::size_t number = 2; !isLast; ++number) {
        const std::size_t end = text.find('.');
        isLast = end == std::string_view::npos;
        Segment segment(text.substr(0, end), "segment " + std::to_string(number));
        text.remove_prefix(isLast ? text.size() : end + 1);

        const auto type = static_cast<std::size_t>(segment.number("SegmentType", bitsOfType));
        TCFString repeated;
        TCFString &into = ++counts[type] == 1 ? string : repeated;
        if (readContent(segment, type, into))
            checkEnd(segment, into.problems);
        else
            segment.endsInZeros(); // else a wrong character would go unseen
    }
    reportTypes(counts, string.problems);
}

} // namespace velmora::tcf
