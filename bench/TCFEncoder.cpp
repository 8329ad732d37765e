#include "TCFEncoder.h"

#include <algorithm>

namespace vmr::test {

Bits &Bits::number(std::uint64_t value, unsigned bits) {
    for (unsigned bit = bits; bit-- > 0;)
        bits_ += (value >> bit & 1) != 0 ? '1' : '0';
    return *this;
}

Bits &Bits::letters(std::string_view text) {
    for (const char letter : text)
        number(static_cast<std::uint64_t>(letter - 'A'), 6);
    return *this;
}

Bits &Bits::row(const Ids &ids, unsigned bits) {
    for (unsigned id = 1; id <= bits; ++id)
        bits_ += std::count(ids.begin(), ids.end(), id) != 0 ? '1' : '0';
    return *this;
}

Bits &Bits::entries(const Ranges &ranges) {
    number(ranges.size(), 12);
    for (const auto &[first, last] : ranges) {
        number(first == last ? 0 : 1, 1).number(first, 16);
        if (first != last)
            number(last, 16);
    }
    return *this;
}

Bits &Bits::vendorRow(const Ids &ids) {
    const unsigned maximum = ids.empty() ? 0 : *std::max_element(ids.begin(), ids.end());
    return number(maximum, 16).number(0, 1).row(ids, maximum);
}

Bits &Bits::vendorRanges(unsigned maximum, const Ranges &ranges) {
    return number(maximum, 16).number(1, 1).entries(ranges);
}

Bits &Bits::add(const Bits &other) {
    bits_ += other.bits_;
    return *this;
}

std::string Bits::text() const {
    std::string bits = bits_;
    bits.resize((bits.size() + 5) / 6 * 6, '0');
    std::string text;
    for (std::size_t i = 0; i < bits.size(); i += 6)
        text += "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"[std::stoul(
            bits.substr(i, 6), nullptr, 2)];
    return text;
}

std::string Core::text() const {
    return Bits()
        .number(2, 6)
        .number(created, 36)
        .number(lastUpdated, 36)
        .number(31, 12)
        .number(640, 12)
        .number(1, 6)
        .letters(language)
        .number(126, 12)
        .number(policyVersion, 6)
        .number(isServiceSpecific ? 1 : 0, 1)
        .number(0, 1)
        .row(features, 12)
        .row(purposes, 24)
        .row(interests, 24)
        .number(0, 1)
        .letters(country)
        .add(vendors)
        .add(vendorInterests)
        .add(restrictions)
        .text();
}

std::string Core::withDisclosedVendors() const {
    return text() + "." + Bits().number(1, 3).vendorRow({2}).text();
}

} // namespace vmr::test
