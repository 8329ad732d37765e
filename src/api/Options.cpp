#include "api/Arguments.h"
#include "api/Call.h"
#include "api/CheckedOptions.h"
#include "api/Host.h"
#include "api/Refusal.h"

#include <algorithm>
#include <cstring>

namespace vmr::api {
namespace {

// The structure only ever grows at its end. A host may have been built against a smaller one, whose
// missing members have their defaults, or against a larger one, as long as it leaves those members
// at their defaults that this library does not know. All defaults are zeros.
constexpr std::size_t firstSize = offsetof(velmora_options, log_context) + sizeof(void *);
constexpr std::size_t knownSize = sizeof(velmora_options);
constexpr std::size_t largestSize = 1024;

void requireSize(std::size_t size) {
    if (size < firstSize || size > largestSize)
        refuse(VELMORA_INVALID_ARGUMENT,
               "the size of velmora_options is %lu, this library knows %lu: call "
               "velmora_options_init with sizeof(velmora_options)",
               size, sizeof(velmora_options));
}

velmora_options knownPart(const velmora_options *given) {
    const std::size_t size = given->size;
    requireSize(size);
    velmora_options known{};
    std::memcpy(&known, given, std::min(size, knownSize));
    const auto *bytes = reinterpret_cast<const unsigned char *>(given);
    if (std::ranges::any_of(bytes + std::min(size, knownSize), bytes + size,
                            [](unsigned char byte) { return byte != 0; }))
        refuse(VELMORA_INVALID_ARGUMENT,
               "velmora_options has a member that this library does not know: leave it at "
               "its default, or use the library that the host was built against");
    return known;
}

} // namespace
} // namespace vmr::api

using namespace vmr::api;

extern "C" {

velmora_result velmora_options_init(velmora_options *options, size_t size) {
    return call(
        [&] {
            requirePointer(options, "options");
            requireSize(size);
            std::memset(static_cast<void *>(options), 0, size);
            options->size = size;
        },
        false);
}

velmora_result velmora_configure(const velmora_options *options) {
    return call([&] {
        requirePointer(options, "options");
        Host::shared().configure(checkedOptions(knownPart(options)));
    });
}

} // extern "C"
