#pragma once

#include "platform/CurrentDevice.h"
#include "platform/Mutex.h"

#include <optional>
#include <string>

namespace vmr {

class MainBundle;

/// The machine as uname, os-release and machine-id tell it; each is read once, when first asked
/// for. What the host says comes first.
///
/// The vendor identifier is made from the machine id and the bundle identifier by a keyed hash:
/// stable for an application on a machine, different between applications, and it does not give the
/// machine id away. Without either of the two there is none.
class UnixDevice final : public CurrentDevice {
public:
    struct Files {
        const char *osRelease = "/etc/os-release";
        const char *osReleaseFallback = "/usr/lib/os-release";
        const char *machineId = "/etc/machine-id";
    };

    /// `identifierForVendor` in its canonical form.
    UnixDevice(const std::optional<std::string> &systemVersion,
               const std::optional<std::string> &identifierForVendor, const MainBundle &bundle,
               const Files &files);

    std::string systemVersion() const override;
    /// No Linux is one of the systems before 10, however low a distribution counts; only a host
    /// can say that it shall be taken for one.
    bool isSystemVersionAtLeast(int major, int minor) const override;
    std::string machine() const override;
    bool respondsToIdentifierForVendor() const override { return true; }
    std::optional<std::string> identifierForVendor() const override;

private:
    const MainBundle &bundle_;
    const Files files_;
    const bool isVersionGiven_;
    mutable Mutex mutex_;
    mutable std::optional<std::string> version_ VMR_GUARDED_BY(mutex_);
    mutable bool vendorMade_ VMR_GUARDED_BY(mutex_) = false;
    mutable std::optional<std::string> vendor_ VMR_GUARDED_BY(mutex_);
};

} // namespace vmr
