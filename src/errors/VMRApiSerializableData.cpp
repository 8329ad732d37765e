#include "errors/VMRApiSerializableData.h"

#include "facade/VMRDebugLog.h"
#include "platform/Format.h"
#include "platform/JSON.h"

namespace vmr {

VMRApiSerializableData::VMRApiSerializableData(const Items &data,
                                               const std::optional<std::string> &hashId) {
    serializeData(data, hashId);
}

void VMRApiSerializableData::serializeData(const Items &data,
                                           const std::optional<std::string> &hashId) {
    for (const auto &item : data) {
        Value json = Value::dictionary(item->formatedJsonWithUUID(hashId));
        if (isValidJSONObject(json))
            serializedData_.push_back(std::move(json));
        else
            addNotSerializableError(json);
    }
}

void VMRApiSerializableData::addNotSerializableError(const Value &object) {
    const std::string text = formatText("Event not JSON Serialisable: %@", object);
    auto entry =
        std::make_shared<VMRError>("iOS non-serializable event", std::nullopt, std::nullopt,
                                   dictionaryOf({{"Error", Value::string(text)}}));
    debugLog("%@", text);
    serializationErrors_.push_back(std::move(entry));
}

} // namespace vmr
