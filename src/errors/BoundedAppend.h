#pragma once

#include "platform/Value.h"

#include <cstdint>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

namespace vmr {

inline bool isPresent(const Value &object) {
    return !object.isAbsent();
}
template <class Record>
bool isPresent(const std::shared_ptr<Record> &object) {
    return object != nullptr;
}

/// Appends the object, if it is present, and drops the oldest entries beyond `bufferSize`. A size
/// of 0 empties the list; a negative size read as unsigned never trims.
template <class Object>
void addObject(std::vector<Object> &list, Object object, std::uint64_t bufferSize) {
    if (isPresent(object))
        list.push_back(std::move(object));
    if (list.size() > bufferSize)
        list.erase(list.begin(), std::prev(list.end(), static_cast<std::ptrdiff_t>(bufferSize)));
}

} // namespace vmr
