#pragma once

#include "platform/Data.h"
#include "platform/Date.h"
#include "platform/FunctionRef.h"

#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vmr {

class Archivable;
class Value;

/// A dictionary is enumerated and printed in ascending order of its keys.
using Dictionary = std::map<std::string, Value, std::less<>>;
using List = std::vector<Value>;
/// Takes a text piece by piece.
using TakeText = FunctionRef<void(std::string_view)>;
/// Hands one on so.
using WriteText = FunctionRef<void(const TakeText &)>;

/// An immutable, shared property-list value: what preferences, archives, JSON and change
/// dictionaries carry. Copying copies the handle. An empty handle is "absent", which is not the
/// null marker and prints differently. Safe to read from any thread.
class Value {
public:
    enum class Type {
        absent,
        null,
        boolean,
        integer,
        real,
        string,
        date,
        data,
        list,
        dictionary,
        record
    };

    Value() = default;
    static Value null();
    static Value boolean(bool value);
    static Value integer(std::int64_t value);
    static Value unsignedInteger(std::uint64_t value);
    static Value real(double value);
    /// `utf8` must be valid UTF-8; what comes from outside is checked where it enters.
    static Value string(std::string utf8);
    static Value date(Date value);
    static Value data(Data value);
    static Value list(List value);
    static Value dictionary(Dictionary value);
    static Value record(std::shared_ptr<const Archivable> value);
    /// A string value, or absent.
    static Value stringOrAbsent(std::optional<std::string_view> utf8);

    Type type() const noexcept;
    bool isAbsent() const noexcept { return node_ == nullptr; }
    bool isNull() const noexcept { return type() == Type::null; }
    /// Booleans, integers and reals.
    bool isNumber() const noexcept;

    /// Each gives nullptr when the value is of another type.
    const std::string *asString() const noexcept;
    const Date *asDate() const noexcept;
    const Data *asData() const noexcept;
    const List *asList() const noexcept;
    const Dictionary *asDictionary() const noexcept;
    std::shared_ptr<const Archivable> asRecord() const noexcept;
    std::optional<bool> asBoolean() const noexcept;
    std::optional<std::int64_t> asInteger() const noexcept;
    /// An integer from 2^63 on.
    std::optional<std::uint64_t> asLargeInteger() const noexcept;
    std::optional<double> asReal() const noexcept;

    /// The number as a 64-bit integer (reals are truncated and clamped, integers from 2^63 on wrap
    /// around); 0 when not a number.
    std::int64_t integerValue() const noexcept;
    /// The number as a real; 0 when not a number.
    double realValue() const noexcept;
    /// True for a non-zero number, and for a string whose text reads as true
    /// ("YES", "true", "1", "-1"); see the rules in Value.cpp. False otherwise.
    bool boolValue() const noexcept;

    /// Whether both handles refer to one object (two absent handles do).
    bool isIdenticalTo(const Value &other) const noexcept { return node_ == other.node_; }
    /// Equality by value, of any depth; booleans, integers and reals compare as numbers. Two
    /// absent values are equal.
    bool isEqualTo(const Value &other) const;
    bool operator==(const Value &other) const { return isEqualTo(other); }

    /// The text that "%@" prints: "(null)" when absent, "<null>" for the null marker, a string
    /// as it is, collections over several lines. A collection's text that is longer than `limit`
    /// bytes ends there with "...": indents make it far longer than the JSON it came from.
    std::string description(std::size_t limit = static_cast<std::size_t>(-1)) const;
    /// The whole of it in pieces of some kilobytes.
    void describe(const TakeText &take) const;

private:
    struct Node;
    template <class T>
    const T *held() const noexcept;
    explicit Value(std::shared_ptr<const Node> node) : node_(std::move(node)) {}
    std::shared_ptr<const Node> node_;
};

/// The entry's value, or absent.
Value valueForKey(const Dictionary &dictionary, std::string_view key);
/// Sets the entry.
void put(Dictionary &dictionary, std::string_view key, Value value);
/// The same with a text; nothing where there is none.
void putText(Dictionary &dictionary, std::string_view key, std::optional<std::string_view> text);

/// Refers to what it is made of.
struct DictionaryEntry {
    std::string_view key;
    const Value &value;
};
Dictionary dictionaryOf(std::initializer_list<DictionaryEntry> entries);

} // namespace vmr
