#pragma once

namespace CLI {
class App;
}

namespace velmora {

/// A subcommand lives in a folder of its own. This declares it and its options below `app` and
/// gives it a callback that does the work; the callback hands its exit status on with `throw
/// CLI::RuntimeError(status)` when that is not 0.
using AddSubcommand = void(CLI::App &app);

/// Exit status for arguments that make no sense.
inline constexpr int usageError = 2;

} // namespace velmora
