// SPDX-License-Identifier: MIT
// A host in C++: lists programmes and streams of a file of whole 188-byte packets.
#include <cstdio>
#include <fstream>
#include <memory>
#include <vector>

#include "bitStream.h"
#include "mpegts.h"

// Owns one analysis.
class Analysis {
  public:
    explicit Analysis(const char* name) { ffurl_mpegts_parser.init(&context_, name, nullptr); }
    ~Analysis() { ffurl_mpegts_parser.deinit(&context_); }
    Analysis(const Analysis&) = delete;
    Analysis& operator=(const Analysis&) = delete;

    bool feed(const std::vector<char>& chunk, size_t size) {
        return ffurl_mpegts_parser.parse(context_, reinterpret_cast<const uint8_t*>(chunk.data()),
                                         static_cast<int>(size), ZV_TS_CHECK_CC) >= 0;
    }
    bool report(StreamInfo& info) { return ffurl_mpegts_parser.updateInfo(context_, &info) == 1; }

  private:
    void* context_ = nullptr;
};

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FILE\n", argv[0]);
        return 2;
    }
    std::ifstream file(argv[1], std::ios::binary);
    if (!file) {
        std::perror(argv[1]);
        return 3;
    }
    Analysis analysis(argv[1]);
    std::vector<char> chunk(size_t{1024} * 188);
    while (file.read(chunk.data(), static_cast<std::streamsize>(chunk.size())), file.gcount() > 0) {
        if (!analysis.feed(chunk, static_cast<size_t>(file.gcount()))) break;
    }

    auto info = std::make_unique<StreamInfo>();
    if (!analysis.report(*info)) return 1;
    for (int p = 0; p < info->program_count; ++p) {
        const StreamInfoProgram& program = info->programs[p];
        std::printf("program %d \"%s\"\n", program.program_number, program.service_name);
        for (int s = 0; s < program.es_count; ++s)
            std::printf("  pid 0x%x %s, continuity errors %u\n", program.streams[s].pid,
                        program.streams[s].type_name, program.streams[s].cc_state.errnum);
    }
    return 0;
}
