#pragma once

#include "consent/VMRDataSreamApiSentData.h"
#include "errors/VMRError.h"
#include "platform/Value.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vmr {

/// One data-stream post in the making: the items' JSON under one identifier, and an error entry for
/// each item whose JSON is not valid. Used on one thread.
class VMRApiSerializableData {
public:
    /// They live as long as the call that takes them.
    using Items = std::vector<const VMRDataSreamApiSentData *>;
    using Errors = std::vector<std::shared_ptr<VMRError>>;

    VMRApiSerializableData(const Items &data, const std::optional<std::string> &hashId);

    /// Appends to both lists. What an item throws passes through.
    void serializeData(const Items &data, const std::optional<std::string> &hashId);
    void addNotSerializableError(const Value &object);

    const Errors &serializationErrors() const { return serializationErrors_; }
    void setSerializationErrors(Errors errors) { serializationErrors_ = std::move(errors); }
    const List &serializedData() const { return serializedData_; }
    void setSerializedData(List data) { serializedData_ = std::move(data); }

private:
    Errors serializationErrors_;
    List serializedData_;
};

} // namespace vmr
