#include "errors/VMRError.h"

#include "device/DateFormatting.h"
#include "errors/ErrorKeys.h"
#include "platform/Clock.h"
#include "platform/Platform.h"

#include <utility>

namespace vmr {
namespace {

void addText(Dictionary &json, std::string_view key, const std::optional<std::string> &text) {
    if (text && !text->empty())
        putText(json, key, text);
}

std::optional<std::string> decodeText(const KeyedDecoder &coder, std::string_view key) {
    const Value value = coder.decodeObject(key);
    const std::string *text = value.asString();
    return text ? std::optional(*text) : std::nullopt;
}

[[maybe_unused]] const bool registered =
    registerArchivableClass(VMRError::ClassName, &VMRError::initWithCoder);

} // namespace

VMRError::VMRError(std::optional<std::string> error, std::optional<std::string> message,
                   std::optional<std::string> stacktrace, std::optional<Dictionary> metadata)
    : error_(std::move(error)), message_(std::move(message)),
      timestamp_(VMR_dataStreamApiDateFormatter().stringFromDate(platform().clock->now())),
      stacktrace_(std::move(stacktrace)), metadata_(std::move(metadata)) {}

Dictionary VMRError::asJson() const {
    Dictionary json;
    addText(json, KEY_LOGS_ERROR, error_);
    addText(json, KEY_LOGS_MESSAGE, message_);
    addText(json, KEY_LOGS_TIMESTAMP, timestamp_);
    addText(json, KEY_LOGS_STACKTRACE, stacktrace_);
    if (metadata_)
        put(json, KEY_LOGS_METADATA, Value::dictionary(*metadata_));
    return json;
}

void VMRError::encodeWithCoder(KeyedEncoder &coder) const {
    coder.encodeObject(Value::stringOrAbsent(error_), KEY_LOGS_ERROR);
    coder.encodeObject(Value::stringOrAbsent(message_), KEY_LOGS_MESSAGE);
    coder.encodeObject(Value::stringOrAbsent(timestamp_), KEY_LOGS_TIMESTAMP);
    coder.encodeObject(Value::stringOrAbsent(stacktrace_), KEY_LOGS_STACKTRACE);
    coder.encodeObject(metadata_ ? Value::dictionary(*metadata_) : Value(), KEY_LOGS_METADATA);
}

std::shared_ptr<Archivable> VMRError::initWithCoder(const KeyedDecoder &coder) {
    auto entry = std::make_shared<VMRError>();
    entry->setError(decodeText(coder, KEY_LOGS_ERROR));
    entry->setMessage(decodeText(coder, KEY_LOGS_MESSAGE));
    entry->setTimestamp(decodeText(coder, KEY_LOGS_TIMESTAMP));
    entry->setStacktrace(decodeText(coder, KEY_LOGS_STACKTRACE));
    const Value metadata = coder.decodeObject(KEY_LOGS_METADATA);
    if (const Dictionary *details = metadata.asDictionary())
        entry->setMetadata(*details);
    return entry;
}

} // namespace vmr
