#include "tcf/Segment.h"

#include <algorithm>
#include <array>

namespace velmora::tcf {
namespace {

constexpr unsigned bitsOfCharacter = 6;
constexpr std::uint8_t notACharacter = 0xff;

constexpr std::array<std::uint8_t, 256> sextets = [] {
    std::array<std::uint8_t, 256> table{};
    table.fill(notACharacter);
    std::uint8_t value = 0;
    for (const char c : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                         "0123456789-_"))
        table[static_cast<unsigned char>(c)] = value++;
    table['+'] = table['-'];
    table['/'] = table['_'];
    return table;
}();

std::string quoted(char c) {
    if (c > ' ' && c < 0x7f)
        return "\"" + std::string(1, c) + "\"";
    static constexpr char digits[] = "0123456789abcdef";
    const auto byte = static_cast<unsigned char>(c);
    return std::string("the byte 0x") + digits[byte >> 4] + digits[byte & 15];
}

std::string_view withoutPadding(std::string_view text) {
    for (int i = 0; i < 2 && text.ends_with('='); ++i)
        text.remove_suffix(1);
    return text;
}

} // namespace

Segment::Segment(std::string_view text, std::string name)
    : text_(withoutPadding(text)), name_(std::move(name)) {}

void Segment::fail(std::string_view field, std::size_t bit, const std::string &why) const {
    std::string place(part_);
    if (!place.empty())
        place += ", ";
    place += field;
    throw Failure{name_, place, bit,
                  name_ + ", " + place + ", bit " + std::to_string(bit) + ": " + why};
}

unsigned Segment::sextet(std::string_view field, std::size_t index) const {
    const std::uint8_t value = sextets[static_cast<unsigned char>(text_[index])];
    if (value == notACharacter)
        fail(field, index * bitsOfCharacter,
             quoted(text_[index]) + " is not a base64url character");
    return value;
}

std::uint64_t Segment::number(std::string_view field, unsigned bits) {
    const std::size_t end = position_ + bits;
    const std::size_t available = text_.size() * bitsOfCharacter;
    std::uint64_t value = 0;
    while (position_ < std::min(end, available)) {
        const std::size_t index = position_ / bitsOfCharacter;
        const std::size_t next = std::min(end, (index + 1) * bitsOfCharacter);
        const unsigned behind = static_cast<unsigned>((index + 1) * bitsOfCharacter - next);
        const unsigned count = static_cast<unsigned>(next - position_);
        value = value << count | (sextet(field, index) >> behind & ((1U << count) - 1));
        position_ = next;
    }
    if (end > available) {
        const std::size_t missing = end - available;
        fail(field, available,
             "the string ends here, but " + std::to_string(missing) +
                 (missing < bits ? " more of " + std::to_string(bits) : "") +
                 (bits == 1 ? " bit is" : " bits are") + " expected");
    }
    return value;
}

int Segment::integer(std::string_view field, unsigned bits) {
    return static_cast<int>(number(field, bits));
}

IdSet Segment::row(std::string_view field, std::size_t bits) {
    std::vector<IdRange> ranges;
    for (std::size_t i = 1; i <= bits; ++i) {
        if (!flag(field))
            continue;
        const auto id = static_cast<std::uint16_t>(i);
        if (!ranges.empty() && ranges.back().last + 1 == id)
            ranges.back().last = id;
        else
            ranges.push_back({id, id});
    }
    return IdSet(std::move(ranges));
}

std::string Segment::letters(std::string_view field) {
    std::string text;
    for (int i = 0; i < 2; ++i) {
        const int letter = integer(field, bitsOfCharacter);
        text += letter < 26 ? static_cast<char>('A' + letter) : '?';
    }
    return text;
}

bool Segment::endsInZeros() {
    part_ = {};
    bool isZero = true;
    while (position_ < text_.size() * bitsOfCharacter) {
        const std::size_t left = bitsOfCharacter - position_ % bitsOfCharacter;
        isZero = number("padding", static_cast<unsigned>(left)) == 0 && isZero;
    }
    return isZero;
}

} // namespace velmora::tcf
