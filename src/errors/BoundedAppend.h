#pragma once

#include "platform/RecordList.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

namespace vmr {

/// Appends the object, if it is present, and drops the oldest entries beyond `bufferSize`. A size
/// of 0 empties the list; a negative size read as unsigned never trims.
template <class Record>
void addObject(RecordsOf<Record> &list, std::shared_ptr<const std::type_identity_t<Record>> object,
               std::uint64_t bufferSize) {
    if (object)
        list.push_back(std::move(object));
    if (list.size() > bufferSize)
        list.dropFirst(list.size() - static_cast<std::size_t>(bufferSize));
}

} // namespace vmr
