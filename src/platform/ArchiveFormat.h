#pragma once

#include <cstdint>
#include <string_view>

namespace vmr {

/// What writer and reader of keyed archives agree on; the format stands in KeyedArchive.h.
inline constexpr std::string_view archiveHeader{"VMRA\x01", 5};

enum class ArchiveExtension : std::int8_t { absent = 0, record = 1, date = 2 };

} // namespace vmr
