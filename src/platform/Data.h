#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace vmr {

class RecordList;

/// Makes bytes when somebody first asks for them.
class ByteSource {
public:
    virtual ~ByteSource() = default;
    virtual std::string makeBytes() const = 0;
    /// The records whose archive the bytes are, where they are one.
    virtual const RecordList *records() const noexcept { return nullptr; }
};

/// An immutable, shared run of bytes. Copying a Data copies a handle, never the bytes, so an
/// operation can hand back "the same buffer" and a caller can tell that it did.
class Data {
public:
    Data() = default;
    explicit Data(std::string bytes);
    explicit Data(std::unique_ptr<const ByteSource> source);

    std::string_view bytes() const;
    std::size_t size() const { return bytes().size(); }
    bool empty() const { return bytes().empty(); }
    /// What its source says; nothing of bytes that were given as such.
    const RecordList *records() const noexcept;

    /// Whether both handles share one buffer.
    bool isIdenticalTo(const Data &other) const noexcept { return content_ == other.content_; }
    /// Whether both hold equal bytes.
    bool operator==(const Data &other) const;

    /// "{length = 3, bytes = 0x010203}"; more than 24 bytes show the first 16 and the last 8.
    std::string description() const;

private:
    struct Content;
    std::shared_ptr<const Content> content_;
};

} // namespace vmr
