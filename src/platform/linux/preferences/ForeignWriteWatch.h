#pragma once

#include "platform/linux/OwnedDescriptor.h"

#include <string>

namespace vmr {

/// Becomes readable when a process writes to the log of a database, and when the database loses its
/// name.
class ForeignWriteWatch {
public:
    ForeignWriteWatch();
    /// Watches this database's log instead of the one before.
    bool watch(const std::string &path);
    /// Writes to the log do not count until `resume`; what they were must then be found out.
    void pause() noexcept;
    void resume() noexcept;
    /// Becomes readable also when a process closes this file, which it can write.
    void watchClosing(const std::string &path) noexcept;
    /// -1 where the system gives none.
    int descriptor() const noexcept { return notifications_.get(); }
    /// Makes the descriptor unreadable until the next write. Any thread may.
    static void drain(int descriptor) noexcept;

private:
    OwnedDescriptor notifications_;
    std::string log_;
    int watched_ = -1;
    bool paused_ = false;
    int watchedName_ = -1;
};

} // namespace vmr
