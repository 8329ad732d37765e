#pragma once

#include "platform/Data.h"
#include "platform/Value.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vmr {

/// Gzip bytes at `level` (1.0 is zlib's best, below 0 its default). The receiver itself when it is
/// empty or already gzip; nothing when zlib cannot start.
std::optional<Data> gzippedDataWithCompressionLevel(const Data &data, float level);
std::optional<Data> gzippedData(const Data &data);
/// Gzip bytes, at zlib's best, of the object's compact JSON text, which is compressed while it is
/// written; nothing when zlib cannot start.
std::optional<Data> gzippedJSON(const Value &object);
/// The inflated bytes; the receiver itself when it is empty or not gzip; nothing when zlib cannot
/// start. A damaged or cut stream gives what could be inflated with trailing space.
std::optional<Data> gunzippedData(const Data &data);
bool isGzippedData(const Data &data) noexcept;

/// 32 bytes of SHA-256; nothing for more than 2^32 - 1 bytes.
std::optional<Data> VMR_hash(const Data &data);
/// 32 bytes of HMAC-SHA256 of the message.
Data VMR_sha256HMacWithKey(const Data &message, const Data &key);

/// Lower-case hexadecimal SHA-1 of the whole text.
std::string VMR_sha1(std::string_view text);
/// Lower-case hexadecimal SHA-256 of the text up to its first NUL character.
std::string VMR_sha256(std::string_view text);
/// The same of all that `write` hands on.
std::string VMR_sha256(WriteText write);
/// A text of the 32 raw SHA-256 bytes, one character each.
std::string VMR_hash(std::string_view text);
/// Each UTF-16 unit in hexadecimal, at least two digits each, with no separator.
std::string VMR_hexEncode(std::string_view text);

/// "notDetermined", "restricted", "alwaysDenied", "authorized"; nothing for other numbers.
std::optional<std::string> stringWithATAuthorizationStatus(std::uint64_t status);

/// The dictionary's JSON text, "{}" when it is not valid JSON.
std::string jsonStringWithPrettyPrint(const Dictionary &dictionary, bool prettyPrint);

} // namespace vmr
