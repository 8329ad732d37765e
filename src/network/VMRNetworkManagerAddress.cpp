#include "network/IngestBaseAddress.h"
#include "network/VMRNetworkManager.h"
#include "platform/Text.h"

#include <algorithm>

namespace vmr {

const std::vector<std::string> &VMRNetworkManager::s() {
    static const auto &addresses = *new std::vector<std::string>{ingestBaseAddress()};
    return addresses;
}

std::string VMRNetworkManager::rvs(std::string_view text) {
    const auto characters = composedCharacters(text);
    std::string reversed;
    std::for_each(characters.rbegin(), characters.rend(),
                  [&](std::string_view character) { reversed += character; });
    return reversed;
}

} // namespace vmr
