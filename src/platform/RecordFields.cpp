#include "platform/RecordFields.h"

#include "platform/ArchivableClasses.h"

#include <string>

namespace vmr {
namespace {

class FieldCollector final : public KeyedEncoder {
public:
    void encodeObject(const Value &object, std::string_view key) override {
        fields.insert_or_assign(std::string(key), object);
    }
    void encodeBool(bool value, std::string_view key) override {
        encodeObject(Value::boolean(value), key);
    }
    void encodeInteger(std::int64_t value, std::string_view key) override {
        encodeObject(Value::integer(value), key);
    }

    Dictionary fields;
};

class FieldDecoder final : public KeyedDecoder {
public:
    explicit FieldDecoder(const Dictionary &fields) : fields_(fields) {}

    bool containsValueForKey(std::string_view key) const override { return fields_.contains(key); }
    Value decodeObject(std::string_view key) const override { return valueForKey(fields_, key); }
    bool decodeBool(std::string_view key) const override {
        return decodeObject(key).asBoolean().value_or(false);
    }
    std::int64_t decodeInteger(std::string_view key) const override {
        return decodeObject(key).asInteger().value_or(0);
    }

private:
    const Dictionary &fields_;
};

} // namespace

Dictionary fieldsOfRecord(const Archivable &record) {
    FieldCollector collector;
    record.encodeWithCoder(collector);
    return std::move(collector.fields);
}

std::shared_ptr<const Archivable> recordWithFields(std::string_view className,
                                                   const Dictionary &fields) {
    const RecordFactory factory = recordFactoryForClass(className);
    return factory == nullptr ? nullptr : factory(FieldDecoder(fields));
}

} // namespace vmr
