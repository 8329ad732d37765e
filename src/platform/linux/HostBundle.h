#pragma once

#include "platform/MainBundle.h"
#include "platform/Mutex.h"

#include <optional>
#include <string>
#include <string_view>

namespace vmr {

class SystemLog;

/// The host's own account of itself, else the JSON object in the file "Info.json" beside the
/// executable, read once when first needed. A file that cannot be read or is no JSON object gives
/// one log line and counts as empty; a missing one is nothing to report. An identifier with a line
/// end or another control in it counts as none.
class HostBundle final : public MainBundle {
public:
    /// Where the file lies; empty where the executable cannot be found.
    static std::string infoFileBesideExecutable();

    /// `entries` come before those of `information`, or of the file.
    HostBundle(const std::optional<std::string> &bundleIdentifier,
               const std::optional<Dictionary> &information, SystemLog &log,
               const Dictionary &entries = {}, std::string infoFile = infoFileBesideExecutable());

    std::optional<std::string> bundleIdentifier() const override;
    Value objectForInfoDictionaryKey(std::string_view key) const override;

private:
    /// What is wrong with the file, if anything is.
    std::string readInfoFile() const VMR_REQUIRES(mutex_);

    SystemLog &log_;
    const std::string infoFile_;
    mutable Mutex mutex_;
    mutable Dictionary entries_ VMR_GUARDED_BY(mutex_);
    /// Whether there is no file to be read, or not any more.
    mutable bool isComplete_ VMR_GUARDED_BY(mutex_);
};

} // namespace vmr
