#pragma once

#include "collect/Database.h"
#include "collect/Sink.h"

#include <unordered_map>

namespace velmora::collect {

/// Keeps events in an SQLite file. What is stored together is one transaction, which is on the disk
/// before `store` returns.
class SqliteSink final : public Sink {
public:
    /// Makes the file where there is none. Throws SinkTrouble.
    explicit SqliteSink(const std::string &path);

    std::vector<std::size_t> store(std::span<const Delivery *const> deliveries) override;

private:
    std::size_t insert(const Delivery &delivery);
    std::int64_t keyOf(const std::string &apiKey);

    Database database_;
    Statement begin_;
    Statement commit_;
    Statement rollback_;
    Statement insertRequest_;
    Statement insertEvent_;
    Statement setAdded_;
    Statement insertKey_;
    Statement findKey_;
    /// Of committed rows alone.
    std::unordered_map<std::string, std::int64_t> keys_;
};

} // namespace velmora::collect
