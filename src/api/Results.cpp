#include "api/Call.h"

#include <cstdlib>
#include <iterator>

extern "C" {

const char *velmora_strerror(int result) {
    // In the order of velmora_result.
    static constexpr const char *texts[] = {
        "success",
        "an argument is missing or out of range",
        "a text is not valid UTF-8",
        "a text is too long",
        "the call comes too late, or another process is in charge",
        "nothing is stored under the key, or no such request waits",
        "what is stored under the key is of another type",
        "the main run loop belongs to another thread",
        "a forked child cannot use the SDK of its parent",
        "out of memory",
        "an internal fault of the SDK",
        "the preferences file cannot be written now",
    };
    static_assert(std::size(texts) == VELMORA_STORE_UNAVAILABLE + 1);
    const auto index = static_cast<std::size_t>(result);
    return index < std::size(texts) ? texts[index] : "unknown result";
}

const char *velmora_last_error_message(void) {
    return vmr::api::lastErrorMessage();
}

const char *velmora_version(void) {
#define VMR_TEXT_OF(number) #number
#define VMR_VERSION(major, minor, patch)                                                           \
    VMR_TEXT_OF(major) "." VMR_TEXT_OF(minor) "." VMR_TEXT_OF(patch)
    return VMR_VERSION(VELMORA_VERSION_MAJOR, VELMORA_VERSION_MINOR, VELMORA_VERSION_PATCH);
}

void velmora_free(void *memory) {
    const vmr::api::ErrnoKeeper keeper;
    std::free(memory);
}

} // extern "C"
