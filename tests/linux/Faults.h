#pragma once

#include <functional>

namespace vmr::test {

/// What of the system this program can make fail.
enum class Call { none, open, read, write, sync, lock, status, access, rename, allocate };

/// The nth such call from now on, counted from 0, fails with the errno; 0 kills the process there.
void failAt(Call call, int nth, int error = 0);
/// Called before each such call of this thread, but for allocations; nothing: no longer.
void beforeEach(std::function<void()> work);
/// Whether it has.
bool hasFailed();
/// How many such calls this process and its children have made.
int countOf(Call call);
/// What SQLite answers when it is asked whether it is made for threads.
void setThreadsafe(bool is);

} // namespace vmr::test
