// SPDX-License-Identifier: MIT
// Writes files of pseudo-random bytes, the same ones everywhere: what the fuzz targets run over
// besides their corpora. usage: random_inputs DIRECTORY COUNT
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    const std::filesystem::path directory = argv[1];
    std::filesystem::create_directories(directory);
    // Start codes, sync bytes, stream ids: what parsers stop at comes more often than by chance.
    constexpr uint8_t kLikely[] = {0, 0, 0, 1, 1, 0x47, 0x80, 0xBB, 0xBC, 0xE0, 0xFF};
    std::mt19937 random(1);
    for (int i = atoi(argv[2]); i > 0; --i) {
        std::string bytes(random() % 2048, '\0');
        const auto share = random() % 5;  // of four bytes are likely ones
        for (char& byte : bytes) {
            const bool likely = random() % 4 < share;
            byte = static_cast<char>(likely ? kLikely[random() % std::size(kLikely)] : random());
        }
        std::ofstream(directory / std::to_string(i), std::ios::binary) << bytes;
    }
    return 0;
}
