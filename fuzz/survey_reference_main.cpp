// SPDX-License-Identifier: MIT
// Prints the reference survey of a file.
// usage: zvsurvey_reference FILE
#include <cstdio>
#include <fstream>
#include <iterator>

#include "survey_reference.h"

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    std::ifstream in(argv[1], std::ios::binary);
    if (!in) return 3;
    const std::vector<uint8_t> bytes(std::istreambuf_iterator<char>(in), {});
    puts(fuzz::survey_reference(bytes).dump(1).c_str());
    return 0;
}
