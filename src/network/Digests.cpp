// The low-level digest functions need no provider, no configuration file and no initialisation:
// the start call hashes every stored event and must not wait for those. They are deprecated in
// favour of the heavier interface, hence the older interface version for this one source.
#define OPENSSL_API_COMPAT 0x10100000L

#include "network/DataCoding.h"
#include "platform/Hexadecimal.h"
#include "platform/Text.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/sha.h>

#include <array>
#include <limits>

namespace vmr {
namespace {

template <std::size_t Size>
using Digest = std::array<unsigned char, Size>;

Digest<SHA_DIGEST_LENGTH> sha1(std::string_view bytes) {
    Digest<SHA_DIGEST_LENGTH> digest;
    SHA_CTX context;
    SHA1_Init(&context);
    SHA1_Update(&context, bytes.data(), bytes.size());
    SHA1_Final(digest.data(), &context);
    return digest;
}

Digest<SHA256_DIGEST_LENGTH> sha256(std::string_view bytes) {
    Digest<SHA256_DIGEST_LENGTH> digest;
    SHA256_CTX context;
    SHA256_Init(&context);
    SHA256_Update(&context, bytes.data(), bytes.size());
    SHA256_Final(digest.data(), &context);
    return digest;
}

template <std::size_t Size>
std::string rawBytes(const Digest<Size> &digest) {
    return std::string(digest.begin(), digest.end());
}

template <std::size_t Size>
std::string hexadecimal(const Digest<Size> &digest) {
    std::string text;
    text.reserve(2 * Size);
    appendHexadecimal(text, {reinterpret_cast<const char *>(digest.data()), Size});
    return text;
}

} // namespace

std::optional<Data> VMR_hash(const Data &data) {
    if (data.size() > std::numeric_limits<std::uint32_t>::max())
        return std::nullopt;
    return Data(rawBytes(sha256(data.bytes())));
}

Data VMR_sha256HMacWithKey(const Data &message, const Data &key) {
    // A key longer than a block stands for its digest by definition; shortened here, its length
    // always fits the library's int.
    std::string shortKey(key.size() > SHA256_CBLOCK ? rawBytes(sha256(key.bytes()))
                                                    : std::string(key.bytes()));
    Digest<SHA256_DIGEST_LENGTH> code{};
    unsigned int length = 0;
    HMAC(EVP_sha256(), shortKey.data(), static_cast<int>(shortKey.size()),
         reinterpret_cast<const unsigned char *>(message.bytes().data()), message.size(),
         code.data(), &length);
    return Data(rawBytes(code));
}

std::string VMR_sha1(std::string_view text) {
    return hexadecimal(sha1(text));
}

std::string VMR_sha256(std::string_view text) {
    return hexadecimal(sha256(text.substr(0, text.find('\0'))));
}

std::string VMR_hash(std::string_view text) {
    return textFromLatin1(rawBytes(sha256(text)));
}

} // namespace vmr
