#include "errors/VMRError.h"

#include "device/DateFormatting.h"
#include "device/Keys.h"
#include "platform/Clock.h"
#include "platform/Platform.h"

#include <utility>

namespace vmr {
namespace {

[[maybe_unused]] const bool registered =
    registerArchivableClass(VMRError::ClassName, &VMRError::initWithCoder);

} // namespace

struct VMRError::Text {
    std::string_view key;
    std::optional<std::string> VMRError::*field;
};

constexpr VMRError::Text VMRError::texts[] = {{KEY_LOGS_ERROR, &VMRError::error_},
                                              {KEY_LOGS_MESSAGE, &VMRError::message_},
                                              {KEY_LOGS_TIMESTAMP, &VMRError::timestamp_},
                                              {KEY_LOGS_STACKTRACE, &VMRError::stacktrace_}};

VMRError::VMRError(std::optional<std::string_view> error, std::optional<std::string_view> message,
                   std::optional<std::string_view> stacktrace, std::optional<Dictionary> metadata)
    : error_(error), message_(message),
      timestamp_(VMR_dataStreamApiDateFormatter().stringFromDate(platform().clock->now())),
      stacktrace_(stacktrace), metadata_(std::move(metadata)) {}

Dictionary VMRError::asJson() const {
    Dictionary json;
    for (const auto &[key, field] : texts) {
        if (this->*field && !(this->*field)->empty())
            putText(json, key, this->*field);
    }
    if (metadata_)
        put(json, KEY_LOGS_METADATA, Value::dictionary(*metadata_));
    return json;
}

void VMRError::encodeWithCoder(KeyedEncoder &coder) const {
    for (const auto &[key, field] : texts)
        coder.encodeObject(Value::stringOrAbsent(this->*field), key);
    coder.encodeObject(metadata_ ? Value::dictionary(*metadata_) : Value(), KEY_LOGS_METADATA);
}

std::shared_ptr<Archivable> VMRError::initWithCoder(const KeyedDecoder &coder) {
    auto entry = std::make_shared<VMRError>();
    for (const auto &[key, field] : texts) {
        const Value value = coder.decodeObject(key);
        if (const std::string *text = value.asString())
            (*entry).*field = *text;
    }
    const Value metadata = coder.decodeObject(KEY_LOGS_METADATA);
    if (const Dictionary *details = metadata.asDictionary())
        entry->setMetadata(*details);
    return entry;
}

} // namespace vmr
