#pragma once

#include <VelmoraKit/VelmoraKit.h>

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace vmr::test {

/// A host application with a preferences file of its own. The SDK is one a process, so every test
/// needs a process of its own, which CTest gives it.
class HostTest : public testing::Test {
protected:
    HostTest() {
        std::string pattern = (std::filesystem::temp_directory_path() / "velmora-api-XXXXXX");
        folder_ = mkdtemp(pattern.data());
        store_ = folder_ + "/store.db";
    }
    ~HostTest() override {
        std::error_code ignored; // the SDK's thread may still write
        std::filesystem::remove_all(folder_, ignored);
    }

    velmora_options options() const {
        velmora_options options;
        velmora_options_init(&options, sizeof options);
        options.store_path = store_.c_str();
        options.bundle_identifier = "com.example.test";
        options.ingest_base_address = "http://127.0.0.1:1/";
        return options;
    }
    void configure() const {
        const velmora_options given = options();
        ASSERT_EQ(VELMORA_OK, velmora_configure(&given)) << velmora_last_error_message();
    }

    std::string folder_;
    std::string store_;
};

} // namespace vmr::test
