#include "platform/UUID.h"

#include "platform/Hexadecimal.h"

#include <sys/random.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

namespace vmr {
namespace {

constexpr std::size_t textLength = 36;

constexpr bool isHyphenPlace(std::size_t at) {
    return at == 8 || at == 13 || at == 18 || at == 23;
}

std::array<unsigned char, 16> randomBytes() {
    std::array<unsigned char, 16> bytes{};
    if (getrandom(bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()))
        return bytes;
    // An old kernel or a sandbox without the call. What is not random would make installations one,
    // so the start fails rather than go on without.
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> source(std::fopen("/dev/urandom", "re"),
                                                                  &std::fclose);
    if (!source || std::fread(bytes.data(), bytes.size(), 1, source.get()) != 1)
        throw std::runtime_error("the system gives no random numbers");
    return bytes;
}

} // namespace

std::string makeUUIDString() {
    return uuidStringOf(randomBytes());
}

std::string uuidStringOf(std::array<unsigned char, 16> bytes) {
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);
    std::string text;
    text.reserve(textLength);
    for (const unsigned char byte : bytes) {
        if (isHyphenPlace(text.size()))
            text += '-';
        text += upperCaseHexadecimalDigits[byte >> 4];
        text += upperCaseHexadecimalDigits[byte & 0xF];
    }
    return text;
}

std::optional<std::string> canonicalUUIDString(std::string_view text) {
    if (text.size() != textLength)
        return std::nullopt;
    std::string canonical;
    canonical.reserve(textLength);
    for (std::size_t at = 0; at < text.size(); ++at) {
        const int digit = hexadecimalDigitValue(text[at]);
        if (isHyphenPlace(at) ? text[at] != '-' : digit < 0)
            return std::nullopt;
        canonical +=
            isHyphenPlace(at) ? '-' : upperCaseHexadecimalDigits[static_cast<std::size_t>(digit)];
    }
    return canonical;
}

} // namespace vmr
