// SPDX-License-Identifier: MIT
// Prints the reference survey of a file, or writes a made stream.
// usage: zvsurvey_reference FILE
//        zvsurvey_reference --make SEED OUT
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

#include "maker/survey_maker.h"
#include "reference/survey_reference.h"

namespace {

int make(const char* seed, const char* path) {
    const auto stream = fuzz::make_survey_stream(static_cast<uint32_t>(strtoul(seed, nullptr, 10)));
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(stream.data()),
              static_cast<std::streamsize>(stream.size()));
    return out.flush() ? 0 : 3;
}

int print(const char* path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return 3;
    const std::vector<uint8_t> bytes(std::istreambuf_iterator<char>(in), {});
    puts(fuzz::survey_reference(bytes).dump(1).c_str());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 4 && strcmp(argv[1], "--make") == 0) return make(argv[2], argv[3]);
    return argc == 2 ? print(argv[1]) : 2;
}
