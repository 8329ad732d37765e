#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vmr::test {

/// The bits of a segment as text of '0' and '1', which is slow, plain and unlike what is tested.
class Bits {
public:
    using Ids = std::vector<unsigned>;
    using Ranges = std::vector<std::pair<unsigned, unsigned>>;

    Bits &number(std::uint64_t value, unsigned bits);
    Bits &letters(std::string_view text);
    Bits &row(const Ids &ids, unsigned bits);
    /// NumEntries and the entries; a pair of equal ids is a single one.
    Bits &entries(const Ranges &ranges);
    /// A vendor section.
    Bits &vendorRow(const Ids &ids);
    Bits &vendorRanges(unsigned maximum, const Ranges &ranges);
    Bits &add(const Bits &other);

    /// In base64url, filled up with zeros.
    std::string text() const;

private:
    std::string bits_;
};

/// The core of version 2, at first a sound one of 2.3 in which nobody consents to anything.
struct Core {
    std::uint64_t created = 20'454ULL * 864'000; // 1 January 2026
    std::uint64_t lastUpdated = created;
    unsigned policyVersion = 5;
    bool isServiceSpecific = true;
    std::string language = "EN";
    std::string country = "DE";
    Bits::Ids features;
    Bits::Ids purposes;
    Bits::Ids interests;
    Bits vendors = Bits().vendorRow({});
    Bits vendorInterests = Bits().vendorRow({});
    Bits restrictions = Bits().number(0, 12);

    std::string text() const;
    /// With a segment of disclosed vendors behind it.
    std::string withDisclosedVendors() const;
};

} // namespace vmr::test
