// SPDX-License-Identifier: MIT
// The same host in C++20.
#include <array>
#include <cstdio>
#include <span>

#include "bitStream.h"
#include "mpegts.h"
#include "ts_tools.h"

namespace {

int parse_once(std::span<const uint8_t> packet) {
    void* context = nullptr;
    ffurl_mpegts_parser.init(&context, "installed", nullptr);
    if (!context) return -2;
    const int parsed =
        ffurl_mpegts_parser.parse(context, packet.data(), static_cast<int>(packet.size()), 0);
    ffurl_mpegts_parser.deinit(&context);
    return parsed;
}

}  // namespace

int main() {
    std::array<uint8_t, 188> packet;
    const uint16_t program = 1, pid = 0x100;
    mpegts_api_buildPat(packet.data(), 1, packet.size(), 1, &program, &pid);
    std::printf("version %s parsed %d mpegts %d missing %d\n", zvbitStream_api_version(),
                parse_once(packet), mpegts_api_isMpeg("mpegts", 0),
                mpegts_api_getTsPktSize("file:///missing.ts", nullptr, 0, 0));
}
