// SPDX-License-Identifier: MIT
// Renders a decoded MPEG audio frame header as one line of text.
#include <cstddef>
#include <cstdio>

#include "bitStream/piece_writer.h"
#include "mp3/mp3_internal.h"

namespace {

// Indexed by the record's codes; only Layer III goes without the dash.
constexpr const char* kVersionTexts[] = {"", ",mpeg2.5", ",mpeg2", ",mpeg1"};
constexpr const char* kLayerTexts[] = {"", "/L3", "-/L2", "-/L1"};
constexpr const char* kChannelTexts[] = {"stereo", "jointstereo", "doubletrack", "mono"};

template <size_t N>
const char* text_or_empty(const char* const (&texts)[N], uint32_t index) {
    return index < N ? texts[index] : "";
}

}  // namespace

char* mp3_api_getInfo(const MP3HeaderInfo* info, char* out) {
    if (info == nullptr || out == nullptr) return out;

    char bitrate[32] = "";
    if (info->bitrate > 0) snprintf(bitrate, sizeof bitrate, ",%d kb/s", info->bitrate);

    zv::PieceWriter<128>(out).add("%s%s%s,%d Hz,%s", text_or_empty(kVersionTexts, info->version),
                                  text_or_empty(kLayerTexts, info->layer), bitrate,
                                  info->samplerate,
                                  text_or_empty(kChannelTexts, info->channel_mode));
    return out;
}
