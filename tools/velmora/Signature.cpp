#include "Signature.h"

#include "Digest.h"

namespace velmora {

std::string signatureSource(std::string_view secret, std::string_view path,
                            std::string_view apiKey) {
    std::string source;
    for (const std::string_view piece : {secret, path, apiKey}) {
        source += piece;
        source += '/';
    }
    return source;
}

std::string tokenFor(std::string_view secret, std::string_view path, std::string_view apiKey) {
    return sha1Text(signatureSource(secret, path, apiKey));
}

} // namespace velmora
