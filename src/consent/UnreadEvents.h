#pragma once

namespace vmr {

/// Puts the events of a store that could be read only after an earlier start before the stored
/// ones, so that they are sent as well. For the start, before the list is loaded.
void takeOverUnreadEvents();

} // namespace vmr
