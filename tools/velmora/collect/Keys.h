#pragma once

#include "ingest/Request.h"

#include <array>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace velmora::collect {

/// The API keys that were issued, each with the tokens that its requests carry. From any thread.
class Keys {
public:
    /// Reads "KEY SECRET" lines; what follows "#" at a line's beginning is a comment. Throws
    /// std::runtime_error with a sentence that names the file and the line.
    explicit Keys(std::string path);
    /// Reads the file again; when it is no good, throws and leaves the keys as they are.
    void reload();
    std::size_t count() const { return table()->size(); }
    /// Everybody on this machine may read the file.
    bool isOpenToAll() const;

    /// Empty when the request is signed as one with this API key is, else why it is not.
    std::string refusalOf(const ingest::Request &request, ingest::Kind kind) const;

private:
    using Tokens = std::array<std::string, 2>;
    using Table = std::unordered_map<std::string, Tokens>;

    std::shared_ptr<const Table> table() const;

    const std::string path_;
    mutable std::mutex mutex_;
    std::shared_ptr<const Table> table_;
};

} // namespace velmora::collect
