#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace vmr {

/// An immutable, shared run of bytes. Copying a Data copies a handle, never the bytes, so an
/// operation can hand back "the same buffer" and a caller can tell that it did.
class Data {
public:
    Data() = default;
    explicit Data(std::string bytes)
        : bytes_(std::make_shared<const std::string>(std::move(bytes))) {}

    std::string_view bytes() const noexcept { return bytes_ ? *bytes_ : std::string_view{}; }
    std::size_t size() const noexcept { return bytes().size(); }
    bool empty() const noexcept { return bytes().empty(); }

    /// Whether both handles share one buffer.
    bool isIdenticalTo(const Data &other) const noexcept { return bytes_ == other.bytes_; }
    /// Whether both hold equal bytes.
    bool operator==(const Data &other) const noexcept { return bytes() == other.bytes(); }

    /// "{length = 3, bytes = 0x010203}"; more than 24 bytes show the first 16 and the last 8.
    std::string description() const;

private:
    std::shared_ptr<const std::string> bytes_;
};

} // namespace vmr
