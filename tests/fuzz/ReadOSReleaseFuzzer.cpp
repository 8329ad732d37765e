#include "fuzz/Fuzzer.h"
#include "platform/MainBundle.h"
#include "platform/Text.h"
#include "platform/linux/UnixDevice.h"

using namespace vmr;

namespace {

class Bundle final : public MainBundle {
public:
    std::optional<std::string> bundleIdentifier() const override { return "com.example.host"; }
    Value objectForInfoDictionaryKey(std::string_view) const override { return {}; }
};

} // namespace

/// An os-release file that is a machine id as well: there always is a version that can be sent.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const Bundle bundle;
    const std::string &path = fuzzedFile();
    writeFile(path, fuzzedBytes(data, size));
    const UnixDevice device(std::nullopt, std::nullopt, bundle,
                            {path.c_str(), path.c_str(), path.c_str()});
    const std::string version = device.systemVersion();
    require(!version.empty() && isValidUTF8(version) && version.find('\n') == std::string::npos);
    require(device.isSystemVersionAtLeast(9, 3));
    const auto vendor = device.identifierForVendor();
    require(!vendor || vendor->size() == 36);
    ::unlink(path.c_str());
    return 0;
}
