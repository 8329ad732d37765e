#include "api/Call.h"

#include <cstdlib>

extern "C" {

const char *velmora_strerror(int result) {
    switch (result) {
    case VELMORA_OK:
        return "success";
    case VELMORA_INVALID_ARGUMENT:
        return "an argument is missing or out of range";
    case VELMORA_INVALID_UTF8:
        return "a text is not valid UTF-8";
    case VELMORA_TOO_LONG:
        return "a text is too long";
    case VELMORA_INVALID_STATE:
        return "the call comes too late, the SDK is already in use";
    case VELMORA_NOT_FOUND:
        return "nothing is stored under the key";
    case VELMORA_WRONG_TYPE:
        return "what is stored under the key is of another type";
    case VELMORA_WRONG_THREAD:
        return "the main run loop belongs to another thread";
    case VELMORA_FORKED_CHILD:
        return "a forked child cannot use the SDK of its parent";
    case VELMORA_OUT_OF_MEMORY:
        return "out of memory";
    case VELMORA_INTERNAL:
        return "an internal fault of the SDK";
    case VELMORA_STORE_UNAVAILABLE:
        return "the preferences file cannot be written now";
    default:
        return "unknown result";
    }
}

const char *velmora_last_error_message(void) {
    return vmr::api::lastErrorMessage();
}

void velmora_free(void *memory) {
    const vmr::api::ErrnoKeeper keeper;
    std::free(memory);
}

} // extern "C"
