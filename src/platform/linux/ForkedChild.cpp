#include "platform/linux/ForkedChild.h"

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>

namespace vmr {
namespace {

std::atomic<pid_t> owner{0};
/// The kernel empties what this refers to in a forked child. Absent where it knows no such memory;
/// the identifiers of the processes tell the child there.
std::atomic<const unsigned char *> mark{nullptr};

const unsigned char *newMark() noexcept {
    constexpr std::size_t size = 1; // the kernel rounds it up to a page
    void *page = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED)
        return nullptr;
    if (::madvise(page, size, MADV_WIPEONFORK) != 0) {
        ::munmap(page, size);
        return nullptr;
    }
    auto *byte = static_cast<unsigned char *>(page);
    *byte = 1;
    return byte;
}

} // namespace

bool isForkedChild() noexcept {
    if (const unsigned char *byte = mark.load(std::memory_order_acquire))
        return *byte == 0;
    const pid_t process = ::getpid();
    pid_t first = 0;
    if (!owner.compare_exchange_strong(first, process, std::memory_order_acq_rel))
        return first != process;
    mark.store(newMark(), std::memory_order_release);
    return false;
}

} // namespace vmr
