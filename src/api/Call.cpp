#include "api/Call.h"

#include "api/Refusal.h"
#include "platform/linux/ForkedChild.h"
#include "platform/linux/OfThread.h"

#include <pthread.h>

#include <cstring>
#include <new>

namespace vmr::api {
namespace {

constexpr std::size_t messageCapacity = 512;
constexpr char noMemory[] = "there is no memory left: free some and call again";
thread_local const char *message = "";

struct MessageText {
    ~MessageText() { message = ""; }
    char text[messageCapacity];
};

bool isContinuationByte(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

void copyLastErrorMessage(const char *text) noexcept try {
    static const OfThread<MessageText> texts;
    char *const copy = texts.get().text;
    std::size_t length = std::strlen(text);
    if (length >= messageCapacity) {
        length = messageCapacity - 1;
        while (length > 0 && isContinuationByte(text[length]))
            --length;
    }
    std::memcpy(copy, text, length);
    copy[length] = '\0';
    message = copy;
} catch (const std::bad_alloc &) {
    message = noMemory;
}

velmora_result refuseForkedChild() noexcept {
    message = "this is a forked child of a process that uses the SDK: use it in the parent, or "
              "call exec first";
    return VELMORA_FORKED_CHILD;
}

velmora_result callCatching(Work work, void *context) noexcept try {
    work(context);
    message = ""; // a callback of the host may have made a call that failed
    return VELMORA_OK;
} catch (const Refusal &refusal) {
    copyLastErrorMessage(refusal.what());
    return refusal.result();
} catch (const std::bad_alloc &) {
    message = noMemory;
    return VELMORA_OUT_OF_MEMORY;
} catch (const std::exception &problem) {
    copyLastErrorMessage(problem.what());
    return VELMORA_INTERNAL;
} catch (...) {
    message = "an unknown fault inside the SDK; please report it";
    return VELMORA_INTERNAL;
}

} // namespace

const char *lastErrorMessage() noexcept {
    return message;
}

void refuseWith(velmora_result result, std::string_view text,
                std::initializer_list<FormatArgument> arguments) {
    throw Refusal(result, formatArguments(text, arguments));
}

velmora_result callWith(Work work, void *context, bool isUse) noexcept {
    const ErrnoKeeper keeper;
    message = "";
    if (isUse && isForkedChild())
        return refuseForkedChild();
    // A thread that was cancelled inside the SDK would keep its locks, or end the process.
    int previous = PTHREAD_CANCEL_ENABLE;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &previous);
    const velmora_result result = callCatching(work, context);
    pthread_setcancelstate(previous, nullptr);
    return result;
}

} // namespace vmr::api
