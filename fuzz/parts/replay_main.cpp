// SPDX-License-Identifier: MIT
// Stands in for libFuzzer where there is none: runs the target once over every file it is given,
// and over every file of the directories it is given.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

using std::filesystem::path;

void collect(const path& name, std::vector<path>& files) {
    if (!std::filesystem::is_directory(name)) {
        files.push_back(name);
        return;
    }
    for (const auto& entry : std::filesystem::directory_iterator(name)) {
        if (entry.is_regular_file()) files.push_back(entry.path());
    }
}

bool replay(const path& name) {
    std::ifstream file(name, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    if (!file) {
        fprintf(stderr, "%s: cannot be read\n", name.c_str());
        return false;
    }
    fprintf(stderr, "%s\n", name.c_str());
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<path> files;
    for (int i = 1; i < argc; ++i)
        collect(argv[i], files);
    std::sort(files.begin(), files.end());
    const bool all_read = std::all_of(files.begin(), files.end(), replay);
    fprintf(stderr, "%zu inputs\n", files.size());
    return all_read && !files.empty() ? 0 : 1;
}
