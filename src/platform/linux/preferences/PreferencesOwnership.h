#pragma once

#include "platform/linux/OwnedDescriptor.h"

#include <string>

namespace vmr {

/// Which one of the processes that use a preferences file may move its log and replace it: the one
/// that holds a lock on the file "-lock" beside it.
class PreferencesOwnership {
public:
    /// Takes the lock, or keeps it. False when it cannot be had, with the reason in errno.
    bool take(const std::string &path);
    bool isTaken() const noexcept { return static_cast<bool>(lock_); }
    /// Whether the last attempt found another process to be the owner.
    bool isElsewhere() const noexcept { return isElsewhere_; }
    void giveUp() { lock_ = OwnedDescriptor(); }

private:
    OwnedDescriptor lock_;
    bool isElsewhere_ = false;
};

} // namespace vmr
