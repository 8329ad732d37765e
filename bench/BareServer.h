#pragma once

namespace bench {

/// Serves HTTP with the collector's library and a handler that does nothing, until SIGTERM; its
/// first line names its address, as the collector's does.
int serveBare();

} // namespace bench
