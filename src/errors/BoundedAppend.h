#pragma once

#include "platform/RecordList.h"
#include "platform/Value.h"

#include <cstddef>
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

template <class Object>
void dropFirst(std::vector<Object> &list, std::size_t count) {
    list.erase(list.begin(), std::next(list.begin(), static_cast<std::ptrdiff_t>(count)));
}
template <class Record>
void dropFirst(RecordsOf<Record> &list, std::size_t count) {
    list.dropFirst(count);
}

/// Appends the object, if it is present, and drops the oldest entries beyond `bufferSize`. A size
/// of 0 empties the list; a negative size read as unsigned never trims.
template <class ObjectList, class Object>
void addObject(ObjectList &list, Object object, std::uint64_t bufferSize) {
    if (isPresent(object))
        list.push_back(std::move(object));
    if (list.size() > bufferSize)
        dropFirst(list, list.size() - static_cast<std::size_t>(bufferSize));
}

} // namespace vmr
