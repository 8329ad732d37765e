#pragma once

#include "device/Persistence.h"

#include <memory>
#include <string_view>
#include <vector>

namespace vmr {

/// The records stored as a list under the key. What is stored there and is no list of such records
/// is kept under the key's name followed by ".unreadable"; those of its elements that are such
/// records are used.
template <class Record>
std::vector<std::shared_ptr<Record>> storedRecords(std::string_view key) {
    std::vector<std::shared_ptr<Record>> records;
    const Value stored = deviceDataArrayWithType(key);
    const List none;
    const List *list = stored.asList();
    bool foreign = list == nullptr;
    for (const Value &element : foreign ? none : *list) {
        // The list was made for the caller, who may change its records.
        auto record = std::const_pointer_cast<Record>(recordOfClass<Record>(element));
        if (record)
            records.push_back(std::move(record));
        else
            foreign = true;
    }
    if (foreign)
        keepUnreadableArchive(key);
    return records;
}

} // namespace vmr
