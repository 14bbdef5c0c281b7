// SPDX-License-Identifier: MIT
// A directory of the test's own, gone with it.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace zvtest {

inline std::string read_file(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

class Folder {
  public:
    Folder() {
        std::string pattern = std::filesystem::temp_directory_path() / "zvtest.XXXXXX";
        path_ = mkdtemp(pattern.data());
    }
    ~Folder() { std::filesystem::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const char* path() const { return path_.c_str(); }
    std::string operator/(const std::string& name) const { return path_ / name; }
    std::string get(const std::string& name) const { return read_file(path_ / name); }
    // -> the file's path
    std::string put(const std::string& name, std::string_view bytes) const {
        std::ofstream(path_ / name, std::ios::binary) << bytes;
        return path_ / name;
    }
    std::string put(const std::string& name, const std::vector<uint8_t>& bytes) const {
        return put(name, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    }
    // Name to content, hidden and temporary files included.
    std::map<std::string, std::string> files() const {
        std::map<std::string, std::string> all;
        for (const auto& entry : std::filesystem::directory_iterator(path_))
            all[entry.path().filename()] = read_file(entry.path());
        return all;
    }

  private:
    std::filesystem::path path_;
};

}  // namespace zvtest
