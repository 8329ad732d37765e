#include "Digest.h"

#include <openssl/evp.h>

#include <array>

namespace velmora {
namespace {

/// Looked for once in the process, which takes longer than most digests.
std::string digestText(const EVP_MD *digest, std::string_view bytes) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> raw{};
    unsigned length = 0;
    EVP_Digest(bytes.data(), bytes.size(), raw.data(), &length, digest, nullptr);
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (unsigned i = 0; i < length; ++i) {
        text += digits[raw[i] >> 4];
        text += digits[raw[i] & 15];
    }
    return text;
}

} // namespace

std::string sha1Text(std::string_view bytes) {
    static const EVP_MD *const digest = EVP_MD_fetch(nullptr, "SHA1", nullptr);
    return digestText(digest, bytes);
}

std::string sha256Text(std::string_view bytes) {
    static const EVP_MD *const digest = EVP_MD_fetch(nullptr, "SHA256", nullptr);
    return digestText(digest, bytes);
}

} // namespace velmora
