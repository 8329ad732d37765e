#include "consent/VMRDataSreamApiSentData.h"

#include "platform/Format.h"

namespace vmr {

Dictionary VMRDataSreamApiSentData::formatedJsonWithUUID(const std::optional<std::string> &) const {
    throw InternalInconsistencyException(
        formatText("You must override %@ in a subclass", "formatedJsonWithUUID:"));
}

} // namespace vmr
