// The low-level digest functions need no provider, no configuration file, no initialisation and no
// memory: a post hashes every stored event on the host's thread, which must not wait for those.
// They are deprecated in favour of the heavier interface, hence the older version for this one
// source.
#define OPENSSL_API_COMPAT 0x10100000L

#include "platform/SHA256.h"

#include <openssl/sha.h>

#include <algorithm>

namespace vmr {
namespace {

SHA256Digest digestOf(std::string_view first, std::string_view second) noexcept {
    SHA256Digest digest{};
    SHA256_CTX context;
    SHA256_Init(&context);
    SHA256_Update(&context, first.data(), first.size());
    SHA256_Update(&context, second.data(), second.size());
    SHA256_Final(digest.data(), &context);
    return digest;
}

} // namespace

SHA256Digest sha256(std::string_view bytes) noexcept {
    return digestOf(bytes, {});
}

SHA256Digest sha256(WriteText write) {
    SHA256Digest digest{};
    SHA256_CTX context;
    SHA256_Init(&context);
    write([&](std::string_view piece) { SHA256_Update(&context, piece.data(), piece.size()); });
    SHA256_Final(digest.data(), &context);
    return digest;
}

SHA256Digest hmacSHA256(std::string_view key, std::string_view message) noexcept {
    std::array<char, SHA256_CBLOCK> block{};
    const SHA256Digest shortened = sha256(key);
    const std::string_view used = key.size() > block.size() ? bytesOf(shortened) : key;
    std::copy(used.begin(), used.end(), block.begin());
    const auto padded = [&block](char pad) {
        auto bytes = block;
        for (char &byte : bytes)
            byte = static_cast<char>(byte ^ pad);
        return bytes;
    };
    const auto inner = padded(0x36);
    const auto outer = padded(0x5c);
    const SHA256Digest digest = digestOf({inner.data(), inner.size()}, message);
    return digestOf({outer.data(), outer.size()}, bytesOf(digest));
}

} // namespace vmr
