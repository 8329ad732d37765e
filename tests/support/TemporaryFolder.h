#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace vmr::test {

/// A fresh folder that goes with its object.
class TemporaryFolder {
public:
    TemporaryFolder() {
        if (::mkdtemp(path_.data()) == nullptr)
            throw std::runtime_error("no temporary folder");
    }
    ~TemporaryFolder() {
        std::error_code ignored; // a thread of the SDK's may still write
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    const std::string &path() const { return path_; }
    std::string file(const std::string &name) const { return path_ + "/" + name; }
    /// Makes a file of it; its path.
    std::string write(const std::string &name, std::string_view text) const {
        std::ofstream(file(name), std::ios::binary) << text;
        return file(name);
    }

private:
    std::string path_ = std::filesystem::temp_directory_path() / "velmora-test-XXXXXX";
};

} // namespace vmr::test
