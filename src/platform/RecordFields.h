#pragma once

#include "platform/KeyedArchive.h"
#include "platform/Value.h"

#include <memory>
#include <string_view>

namespace vmr {

/// What the record gives a coder, key by key.
Dictionary fieldsOfRecord(const Archivable &record);

/// The record of the named class that reads these fields; null where there is no such class, or it
/// refuses them.
std::shared_ptr<const Archivable> recordWithFields(std::string_view className,
                                                   const Dictionary &fields);

} // namespace vmr
