#pragma once

#include <span>
#include <string_view>

namespace velmora::page {

/// A file of the page, built into the program.
struct PageFile {
    /// "/js/main.js".
    std::string_view path;
    std::string_view content;
};

std::span<const PageFile> pageFiles();

} // namespace velmora::page
