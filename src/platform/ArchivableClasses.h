#pragma once

#include "platform/KeyedArchive.h"

namespace vmr {

/// The factory registered for a class name, or nullptr. Safe from any thread.
RecordFactory recordFactoryForClass(std::string_view className);

} // namespace vmr
