#pragma once

#include "platform/RecordList.h"

#include <cstddef>
#include <cstdint>
#include <utility>

namespace vmr {

/// Appends the object, if it is present, and drops the oldest entries beyond `bufferSize`. A size
/// of 0 empties the list; a negative size read as unsigned never trims.
inline void addObject(RecordList &list, RecordList::Record object, std::uint64_t bufferSize) {
    if (object)
        list.push_back(std::move(object));
    if (list.size() > bufferSize)
        list.dropFirst(list.size() - static_cast<std::size_t>(bufferSize));
}

} // namespace vmr
