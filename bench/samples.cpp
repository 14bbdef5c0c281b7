// SPDX-License-Identifier: MIT
// Implementation of samples.h.
#include "samples.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "mp3.h"

namespace zvbench {
namespace {

constexpr int kMpegAudioHeaderSize = 4;

uint32_t be24(const uint8_t* p) {
    return (static_cast<uint32_t>(p[0]) << 16) | (static_cast<uint32_t>(p[1]) << 8) | p[2];
}

}  // namespace

std::string sample_path(const char* name) {
    return std::string(ZV_BENCH_MEDIA "/") + name;
}

Bytes load_sample(const char* name) {
    std::ifstream file(sample_path(name), std::ios::binary);
    Bytes bytes{std::istreambuf_iterator<char>(file), {}};
    if (bytes.empty()) {
        fprintf(stderr, "sample %s is missing\n", name);
        exit(1);
    }
    return bytes;
}

Bytes repeat_sample(const char* name, size_t min_bytes) {
    const Bytes once = load_sample(name);
    Bytes bytes;
    bytes.reserve(min_bytes + once.size());
    while (bytes.size() < min_bytes)
        bytes.insert(bytes.end(), once.begin(), once.end());
    return bytes;
}

unsigned walk_flv(const Bytes& file, FLVProbe& probe) {
    constexpr size_t kStart = ZV_FLV_FILE_HEADER_SIZE + ZV_FLV_PREVIOUS_TAG_SIZE;
    constexpr size_t kAroundBody = ZV_FLV_TAG_HEADER_SIZE + ZV_FLV_PREVIOUS_TAG_SIZE;
    unsigned tags = 0;
    for (size_t at = kStart; at + kAroundBody <= file.size();) {
        const size_t size = be24(&file[at + 1]) + kAroundBody;
        probe.keyframe = 0;  // keeps the probe looking
        flv_api_check(&probe, &file[at], static_cast<uint32_t>(std::min(size, file.size() - at)));
        at += size;
        ++tags;
    }
    return tags;
}

unsigned check_mpeg_audio(const Bytes& file) {
    MP3HeaderInfo info = {};
    unsigned found = 0;
    for (size_t at = 0; at + kMpegAudioHeaderSize <= file.size(); ++at)
        found += mp3_api_check(&info, &file[at], kMpegAudioHeaderSize);
    return found;
}

}  // namespace zvbench
