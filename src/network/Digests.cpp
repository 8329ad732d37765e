// As in platform/SHA256.cpp: the low-level function needs no initialisation and no memory.
#define OPENSSL_API_COMPAT 0x10100000L

#include "network/DataCoding.h"
#include "platform/Hexadecimal.h"
#include "platform/SHA256.h"
#include "platform/Text.h"

#include <openssl/sha.h>

#include <array>
#include <limits>

namespace vmr {
namespace {

std::string hexadecimal(std::string_view digest) {
    std::string text;
    text.reserve(2 * digest.size());
    appendHexadecimal(text, digest);
    return text;
}

} // namespace

std::optional<Data> VMR_hash(const Data &data) {
    if (data.size() > std::numeric_limits<std::uint32_t>::max())
        return std::nullopt;
    return Data(std::string(bytesOf(sha256(data.bytes()))));
}

Data VMR_sha256HMacWithKey(const Data &message, const Data &key) {
    return Data(std::string(bytesOf(hmacSHA256(key.bytes(), message.bytes()))));
}

std::string VMR_sha1(std::string_view text) {
    std::array<unsigned char, SHA_DIGEST_LENGTH> digest{};
    SHA_CTX context;
    SHA1_Init(&context);
    SHA1_Update(&context, text.data(), text.size());
    SHA1_Final(digest.data(), &context);
    return hexadecimal({reinterpret_cast<const char *>(digest.data()), digest.size()});
}

std::string VMR_sha256(std::string_view text) {
    return VMR_sha256([text](const TakeText &take) { take(text); });
}

std::string VMR_sha256(WriteText write) {
    bool ended = false;
    return hexadecimal(bytesOf(sha256([&](const TakeText &take) {
        write([&](std::string_view piece) {
            const std::size_t end = piece.find('\0');
            if (!ended)
                take(piece.substr(0, end));
            ended = ended || end != std::string_view::npos;
        });
    })));
}

std::string VMR_hash(std::string_view text) {
    return textFromLatin1(bytesOf(sha256(text)));
}

} // namespace vmr
