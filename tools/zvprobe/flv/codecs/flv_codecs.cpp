// SPDX-License-Identifier: MIT
// Implementation of flv_codecs.h: one table.
#include "flv/codecs/flv_codecs.h"

#include <algorithm>
#include <array>

#include "base/bytes.h"

namespace zvprobe {
namespace {

constexpr int kNoCode = -1;

struct KnownCodec {
    bool video;
    int code;
    uint32_t fourcc;  // 0: none
    FlvMedia media;
    const char* name;
    uint32_t rate = 0;  // Hz
    bool mono = false;
};

// Codec 12 is what writers without enhanced tags have given HEVC.
constexpr KnownCodec kKnown[] = {
    {true, 2, 0, FlvMedia::kH263, "Sorenson H.263"},
    {true, 3, 0, FlvMedia::kScreen, "Screen video"},
    {true, 4, 0, FlvMedia::kVp6, "VP6"},
    {true, 5, 0, FlvMedia::kVp6Alpha, "VP6 with alpha"},
    {true, 6, 0, FlvMedia::kScreen, "Screen video 2"},
    {true, 7, four_letters("avc1"), FlvMedia::kAvc, "AVC"},
    {true, 12, four_letters("hvc1"), FlvMedia::kHevc, "HEVC"},
    {true, kNoCode, four_letters("vvc1"), FlvMedia::kOther, "VVC"},
    {true, kNoCode, four_letters("vp08"), FlvMedia::kVp8, "VP8"},
    {true, kNoCode, four_letters("vp09"), FlvMedia::kVp9, "VP9"},
    {true, kNoCode, four_letters("av01"), FlvMedia::kAv1, "AV1"},
    {false, 0, 0, FlvMedia::kOther, "linear PCM, native endian"},
    {false, 1, 0, FlvMedia::kOther, "ADPCM"},
    {false, 2, four_letters(".mp3"), FlvMedia::kMp3, "MP3"},
    {false, 3, 0, FlvMedia::kOther, "linear PCM, little endian"},
    {false, 4, 0, FlvMedia::kOther, "Nellymoser 16 kHz mono", 16000, true},
    {false, 5, 0, FlvMedia::kOther, "Nellymoser 8 kHz mono", 8000, true},
    {false, 6, 0, FlvMedia::kOther, "Nellymoser"},
    {false, 7, 0, FlvMedia::kOther, "G.711 A-law", 8000},
    {false, 8, 0, FlvMedia::kOther, "G.711 mu-law", 8000},
    {false, 10, four_letters("mp4a"), FlvMedia::kAac, "AAC"},
    {false, 11, 0, FlvMedia::kOther, "Speex", 16000, true},
    {false, 14, 0, FlvMedia::kMp3, "MP3 8 kHz", 8000},
    {false, 15, 0, FlvMedia::kOther, "device-specific"},
    {false, kNoCode, four_letters("Opus"), FlvMedia::kOpus, "Opus", 48000},
    {false, kNoCode, four_letters("fLaC"), FlvMedia::kFlac, "FLAC"},
    {false, kNoCode, four_letters("ac-3"), FlvMedia::kAc3, "AC-3"},
    {false, kNoCode, four_letters("ec-3"), FlvMedia::kAc3, "E-AC-3"},
};

// Every tag asks: the codecs by their code, those of audio first.
constexpr size_t kCodes = 16;
constexpr auto kByCode = [] {
    std::array<const KnownCodec*, kCodes + kCodes> table = {};
    for (const KnownCodec& known : kKnown)
        if (known.code != kNoCode)
            table[static_cast<size_t>(known.code) + (known.video ? kCodes : 0)] = &known;
    return table;
}();

const KnownCodec* find_known(const FlvCodec& codec) {
    if (codec.fourcc == 0) return kByCode[codec.code % kCodes + (codec.video ? kCodes : 0)];
    const auto at = std::ranges::find_if(kKnown, [&codec](const KnownCodec& known) {
        return known.video == codec.video && known.fourcc == codec.fourcc;
    });
    return at == std::end(kKnown) ? nullptr : at;
}

}  // namespace

FlvMedia FlvCodec::media() const {
    const KnownCodec* const known = find_known(*this);
    return known != nullptr ? known->media : FlvMedia::kOther;
}

std::string FlvCodec::name() const {
    if (const KnownCodec* const known = find_known(*this)) return known->name;
    return "codec " + (fourcc != 0 ? "'" + fourcc_text() + "'" : std::to_string(code));
}

std::string FlvCodec::fourcc_text() const {
    std::string text;
    for (int shift = 24; fourcc != 0 && shift >= 0; shift -= 8)
        text += static_cast<char>(fourcc >> shift & 0xFF);
    return text;
}

uint32_t FlvCodec::fixed_rate() const {
    const KnownCodec* const known = find_known(*this);
    return known != nullptr ? known->rate : 0;
}

bool FlvCodec::always_mono() const {
    const KnownCodec* const known = find_known(*this);
    return known != nullptr && known->mono;
}

// Writers of AVC and AAC without enhanced tags name them either way; Nellymoser at 8 and 16 kHz has
// codes of its own, and often the general one in onMetaData.
bool FlvCodec::is_named_by(double id) const {
    const bool nellymoser = !video && fourcc == 0 && code >= 4 && code <= 6;
    if (id == metadata_id() || (nellymoser && id >= 4 && id <= 6)) return true;
    const KnownCodec* const known = find_known(*this);
    return known != nullptr && (id == known->code || (known->fourcc != 0 && id == known->fourcc));
}

bool FlvCodec::is_named_by(std::string_view id) const {
    const KnownCodec* const known = find_known(*this);
    const FlvCodec wanted = {video, code, known != nullptr ? known->fourcc : fourcc};
    return id == wanted.fourcc_text() || id == std::to_string(code);
}

bool needs_config(FlvMedia media) {
    switch (media) {
        case FlvMedia::kAvc:
        case FlvMedia::kHevc:
        case FlvMedia::kAv1:
        case FlvMedia::kAac:
        case FlvMedia::kOpus:
        case FlvMedia::kFlac:
            return true;
        default:
            return false;
    }
}

}  // namespace zvprobe
