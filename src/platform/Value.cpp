#include "platform/Value.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>
#include <variant>

namespace vmr {

/// One object. The alternatives stand in the order of Type, which starts with "absent"; large
/// integers follow.
struct Value::Node {
    using Held = std::variant<std::monostate, bool, std::int64_t, double, std::string, Date, Data,
                              List, Dictionary, std::shared_ptr<const Archivable>, std::uint64_t>;

    explicit Node(Held &&given) : held(std::move(given)) {}
    static Value make(Held held) { return Value(std::make_shared<const Node>(std::move(held))); }

    Held held;
};

namespace {

constexpr double integerRangeEnd = 9223372036854775808.0;

/// Leading blanks, one sign and zeros are skipped; then "Y", "T" or a digit from 1 to 9 means true.
bool textReadsAsTrue(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    if (!text.empty() && (text.front() == '+' || text.front() == '-'))
        text.remove_prefix(1);
    text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
    if (text.empty())
        return false;
    return std::string_view("YyTt123456789").find(text.front()) != std::string_view::npos;
}

bool integerEqualsReal(const Value &value, double real) {
    if (const auto large = value.asLargeInteger())
        return real >= integerRangeEnd && real < 2 * integerRangeEnd &&
               static_cast<std::uint64_t>(real) == *large;
    const std::int64_t integer = value.integerValue();
    return real >= -integerRangeEnd && real < integerRangeEnd && std::trunc(real) == real &&
           static_cast<std::int64_t>(real) == integer;
}

/// A real that is not a number equals another such, so that every value equals itself.
bool realsEqual(double left, double right) {
    return left == right || (std::isnan(left) && std::isnan(right));
}

bool numbersEqual(const Value &left, const Value &right) {
    const std::optional<double> leftReal = left.asReal();
    const std::optional<double> rightReal = right.asReal();
    if (leftReal && rightReal)
        return realsEqual(*leftReal, *rightReal);
    if (leftReal)
        return integerEqualsReal(right, *leftReal);
    if (rightReal)
        return integerEqualsReal(left, *rightReal);
    return left.asLargeInteger() == right.asLargeInteger() &&
           left.integerValue() == right.integerValue();
}

template <class T>
std::optional<T> copied(const T *held) {
    return held != nullptr ? std::optional(*held) : std::nullopt;
}

} // namespace

Value Value::null() {
    static const Value &marker = *new Value(Node::make(std::monostate()));
    return marker;
}

Value Value::boolean(bool value) {
    static const auto &both = *new std::array<Value, 2>{Node::make(false), Node::make(true)};
    return both[value ? 1 : 0];
}

Value Value::integer(std::int64_t value) {
    return Node::make(value);
}

Value Value::unsignedInteger(std::uint64_t value) {
    if (std::in_range<std::int64_t>(value))
        return integer(static_cast<std::int64_t>(value));
    return Node::make(value);
}

Value Value::real(double value) {
    return Node::make(value);
}

Value Value::string(std::string utf8) {
    return Node::make(std::move(utf8));
}

Value Value::date(Date value) {
    return Node::make(value);
}

Value Value::data(Data value) {
    return Node::make(std::move(value));
}

Value Value::list(List value) {
    return Node::make(std::move(value));
}

Value Value::dictionary(Dictionary value) {
    return Node::make(std::move(value));
}

Value Value::record(std::shared_ptr<const Archivable> value) {
    return value ? Node::make(std::move(value)) : Value();
}

Value Value::stringOrAbsent(std::optional<std::string_view> utf8) {
    return utf8 ? string(std::string(*utf8)) : Value();
}

template <class T>
const T *Value::held() const noexcept {
    return node_ ? std::get_if<T>(&node_->held) : nullptr;
}

Value::Type Value::type() const noexcept {
    if (asLargeInteger())
        return Type::integer;
    return node_ ? static_cast<Type>(node_->held.index() + 1) : Type::absent;
}

bool Value::isNumber() const noexcept {
    const Type own = type();
    return own == Type::boolean || own == Type::integer || own == Type::real;
}

const std::string *Value::asString() const noexcept {
    return held<std::string>();
}

const Date *Value::asDate() const noexcept {
    return held<Date>();
}

const Data *Value::asData() const noexcept {
    return held<Data>();
}

const List *Value::asList() const noexcept {
    return held<List>();
}

const Dictionary *Value::asDictionary() const noexcept {
    return held<Dictionary>();
}

std::shared_ptr<const Archivable> Value::asRecord() const noexcept {
    const auto *record = held<std::shared_ptr<const Archivable>>();
    return record != nullptr ? *record : nullptr;
}

std::optional<bool> Value::asBoolean() const noexcept {
    return copied(held<bool>());
}

std::optional<std::int64_t> Value::asInteger() const noexcept {
    return copied(held<std::int64_t>());
}

std::optional<std::uint64_t> Value::asLargeInteger() const noexcept {
    return copied(held<std::uint64_t>());
}

std::optional<double> Value::asReal() const noexcept {
    return copied(held<double>());
}

std::int64_t Value::integerValue() const noexcept {
    if (const auto integer = asInteger())
        return *integer;
    if (const auto large = asLargeInteger())
        return static_cast<std::int64_t>(*large);
    if (const auto boolean = asBoolean())
        return *boolean ? 1 : 0;
    const double real = asReal().value_or(0);
    if (std::isnan(real))
        return 0;
    if (real >= integerRangeEnd)
        return std::numeric_limits<std::int64_t>::max();
    if (real < -integerRangeEnd)
        return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(real);
}

double Value::realValue() const noexcept {
    if (const auto large = asLargeInteger())
        return static_cast<double>(*large);
    return asReal().value_or(static_cast<double>(integerValue()));
}

bool Value::boolValue() const noexcept {
    if (const std::string *text = asString())
        return textReadsAsTrue(*text);
    if (const auto real = asReal())
        return *real != 0;
    return integerValue() != 0;
}

bool Value::isEqualTo(const Value &other) const {
    if (isIdenticalTo(other))
        return true;
    if (isNumber() && other.isNumber())
        return numbersEqual(*this, other);
    if (type() != other.type())
        return false;
    switch (type()) {
    case Type::string:
        return *asString() == *other.asString();
    case Type::date:
        return realsEqual(asDate()->secondsSince1970, other.asDate()->secondsSince1970);
    case Type::data:
        return *asData() == *other.asData();
    case Type::list:
        return *asList() == *other.asList();
    case Type::dictionary:
        return *asDictionary() == *other.asDictionary();
    case Type::record:
        return asRecord() == other.asRecord();
    default:
        return false;
    }
}

Value valueForKey(const Dictionary &dictionary, std::string_view key) {
    const auto entry = dictionary.find(key);
    return entry == dictionary.end() ? Value() : entry->second;
}

void put(Dictionary &dictionary, std::string_view key, Value value) {
    dictionary.insert_or_assign(std::string(key), std::move(value));
}

void putText(Dictionary &dictionary, std::string_view key, std::optional<std::string_view> text) {
    if (text)
        put(dictionary, key, Value::string(std::string(*text)));
}

Dictionary dictionaryOf(std::initializer_list<DictionaryEntry> entries) {
    Dictionary dictionary;
    for (const auto &[key, value] : entries)
        put(dictionary, key, value);
    return dictionary;
}

} // namespace vmr
