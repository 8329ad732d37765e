#pragma once

namespace vmr {

/// Calls `end` after `work`, also when the work throws; what it threw goes on to the caller.
template <class Work, class End>
void runThen(const Work &work, const End &end) {
    try {
        work();
    } catch (...) {
        end();
        throw;
    }
    end();
}

} // namespace vmr
