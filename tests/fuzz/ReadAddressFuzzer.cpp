#include "fuzz/Fuzzer.h"
#include "platform/linux/http/ProxyExceptions.h"

using namespace vmr;

/// A first line of proxy exceptions, then an address. What was read is the same address when it is
/// put together again, and what was encoded stays.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::string_view text = fuzzedBytes(data, size);
    const std::string_view exceptions = takeUntil(text, "\n");
    const std::string encoded = percentEncodedAddress(text);
    require(percentEncodedAddress(encoded) == encoded);
    static_cast<void>(WebAddress::forRequest(text));
    const auto address = WebAddress::parse(text);
    if (!address)
        return 0;
    const bool isLiteral = address->host.find(':') != std::string::npos;
    const std::string host = isLiteral ? "[" + address->host + "]" : address->host;
    const std::string port = address->port.empty() ? "" : ":" + address->port;
    const auto again = WebAddress::parse(address->scheme + "://" + host + port);
    require(again && again->host == address->host && again->port == address->port &&
            again->isLoopback() == address->isLoopback());
    require(isProxyException(exceptions, *again) == isProxyException(exceptions, *address));
    require(isProxyException(std::string(exceptions) + ",*", *address));
    return 0;
}
