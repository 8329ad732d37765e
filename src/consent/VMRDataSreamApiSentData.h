#pragma once

#include "platform/Format.h"
#include "platform/Value.h"

#include <optional>
#include <stdexcept>
#include <string>

namespace vmr {

/// A fault in the SDK's own code, never in what it is given.
class InternalInconsistencyException : public std::logic_error {
public:
    using std::logic_error::logic_error;
};

/// The base of every item that is posted to the data-stream service.
class VMRDataSreamApiSentData {
public:
    /// The item's JSON dictionary under an identifier. Every concrete item overrides it; this one
    /// throws InternalInconsistencyException.
    virtual Dictionary formatedJsonWithUUID(const std::optional<std::string> &) const {
        throw InternalInconsistencyException(
            formatText("You must override %@ in a subclass", "formatedJsonWithUUID:"));
    }
};

} // namespace vmr
