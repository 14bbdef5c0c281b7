// SPDX-License-Identifier: MIT
// Kind and log label of each stream_type that the analyser knows by name.
#include "mpeg/mpegts/stream_class.h"

#include "mpeg/mpegts/context.h"

namespace zv {
namespace {

struct Row {
    uint8_t stream_type;
    const char* label;
    uint32_t kind;
};

constexpr Row kRows[] = {
    {0x01, "video-mpeg1/2", kKindVideo},    {0x02, "video-mpeg1/2", kKindVideo},
    {0x10, "video-mpeg4", kKindVideo},      {0x1b, "video-h264", kKindVideo},
    {0x24, "video-hevc", kKindVideo},       {0x42, "video-cavs", kKindVideo},
    {0xea, "video-vc1", kKindVideo},        {0xd1, "video-dirac", kKindVideo},
    {0x03, "audio-mpeg1/2", kKindAudio},    {0x04, "audio-mpeg1/2", kKindAudio},
    {0x0f, "audio-aac", kKindAudio},        {0x11, "audio-aac_latm", kKindAudio},
    {0x81, "audio-ac3", kKindAudio},        {0x87, "audio-eac3", kKindAudio},
    {0x82, "audio-dts", kKindAudio},        {0x83, "audio-truehd", kKindAudio},
    {0x15, "metadata", kKindOther},         {0x05, "private_sections", kKindOther},
    {0x06, "pes_private_data", kKindOther},
};

}  // namespace

StreamClass classify_stream(uint8_t stream_type) {
    for (const Row& row : kRows) {
        if (row.stream_type == stream_type) return {row.label, row.kind, row.kind != kKindOther};
    }
    return {nullptr, kKindOther, false};
}

}  // namespace zv
