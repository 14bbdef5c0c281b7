// SPDX-License-Identifier: MIT
// Implementation of page_file.h.
#include "commands/parts/page_file.h"

#include <filesystem>
#include <fstream>

namespace zvprobe {
namespace {

constexpr std::string_view kPageBegins = "<!DOCTYPE html>";

// -> the path, when what is there may be lost
const std::string& checked(const std::string& path) {
    std::error_code none;
    if (is_standard_output(path) || !std::filesystem::is_regular_file(path, none)) return path;
    std::ifstream file(path, std::ios::binary);
    std::string begins(kPageBegins.size(), '\0');
    file.read(begins.data(), static_cast<std::streamsize>(begins.size()));
    const bool is_page = file && begins == kPageBegins;
    if (!is_page && file.gcount() > 0) throw OutputError("it is there already, and no page");
    return path;
}

}  // namespace

PageFile::PageFile(const std::string& path) : file_(checked(path)) {}

void PageFile::write(std::string_view page) {
    file_.write({reinterpret_cast<const uint8_t*>(page.data()), page.size()});
    file_.commit();
}

}  // namespace zvprobe
