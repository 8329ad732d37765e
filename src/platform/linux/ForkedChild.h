#pragma once

namespace vmr {

/// Whether this process is a forked child of the one that asked first, which everything of the SDK
/// belongs to. Takes no lock, and asks the system nothing after the first time.
bool isForkedChild() noexcept;

} // namespace vmr
