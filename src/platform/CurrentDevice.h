#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vmr {

/// The machine and its system. Safe from any thread.
class CurrentDevice {
public:
    /// "12" or "12.4"; dotted numbers.
    virtual std::string systemVersion() const = 0;
    /// The hardware's name as the kernel gives it, "x86_64".
    virtual std::string machine() const = 0;
    /// Whether the system knows vendor identifiers at all.
    virtual bool respondsToIdentifierForVendor() const = 0;
    /// An upper-case UUID, absent where the machine has none.
    virtual std::optional<std::string> identifierForVendor() const = 0;

    /// Whether `systemVersion` is `major.minor` or later, compared number by number.
    virtual bool isSystemVersionAtLeast(int major, int minor) const;

protected:
    ~CurrentDevice() = default;
};

/// Whether a dotted version text is `major.minor` or later; missing or unreadable pieces count as
/// 0.
bool isVersionAtLeast(std::string_view version, int major, int minor);

} // namespace vmr
