#pragma once

#include "platform/linux/OwnedDescriptor.h"

#include <string>

namespace vmr {

/// Becomes readable when a process, this one included, writes to the log of a database. Any thread
/// may drain it.
class ForeignWriteWatch {
public:
    /// Opens the descriptor; -1 where the system gives none.
    int open();
    /// Watches this database's log instead of the one before.
    bool watch(const std::string &path);
    int descriptor() const noexcept { return notifications_.get(); }
    void drain() const noexcept;

private:
    OwnedDescriptor notifications_;
    int watched_ = -1;
};

} // namespace vmr
