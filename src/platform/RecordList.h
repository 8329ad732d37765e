#pragma once

#include <cstddef>
#include <iterator>
#include <memory>
#include <utility>

namespace vmr {

class Archivable;

/// A list of records, oldest first. Copies are snapshots: copying, adding at the end and dropping
/// from the front cost the same however long the list is, because lists that were made from one
/// another share their records. A record that is in a list does not change any more. Several
/// threads may use copies of one list, each its own.
class RecordList {
public:
    using Record = std::shared_ptr<const Archivable>;

    std::size_t size() const noexcept { return end_ - begin_; }
    bool empty() const noexcept { return size() == 0; }
    const Record &operator[](std::size_t index) const noexcept;

    void push_back(Record record);
    void dropFirst(std::size_t count);

    /// Whether they are copies of one another.
    bool operator==(const RecordList &other) const noexcept = default;

    /// What is left of an older list: `dropped` records went from its front, `kept` ones of the
    /// following are the first of this list, and any others went.
    struct Rest {
        std::size_t dropped = 0;
        std::size_t kept = 0;
    };
    Rest restOf(const RecordList &older) const noexcept;

private:
    class Run;
    RecordList startedAnew() const;

    std::shared_ptr<Run> run_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
};

/// A RecordList of which it is known that all its records are of one class.
template <class Class>
class RecordsOf : public RecordList {
public:
    RecordsOf() = default;
    /// `list` holds nothing else.
    explicit RecordsOf(RecordList list) : RecordList(std::move(list)) {}

    const Class *operator[](std::size_t index) const noexcept {
        return static_cast<const Class *>(RecordList::operator[](index).get());
    }
    void push_back(std::shared_ptr<const Class> record) {
        RecordList::push_back(std::move(record));
    }

    class Iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = const Class *;
        using difference_type = std::ptrdiff_t;
        using pointer = const value_type *;
        using reference = value_type;

        Iterator(const RecordsOf &records, std::size_t at) : records_(&records), at_(at) {}
        const Class *operator*() const noexcept { return (*records_)[at_]; }
        Iterator &operator++() noexcept {
            ++at_;
            return *this;
        }
        bool operator==(const Iterator &other) const noexcept { return at_ == other.at_; }

    private:
        const RecordsOf *records_;
        std::size_t at_;
    };
    Iterator begin() const noexcept { return {*this, 0}; }
    Iterator end() const noexcept { return {*this, size()}; }
};

} // namespace vmr
