// SPDX-License-Identifier: MIT
// Names and kinds of codecs.
#include "survey/codecs/codec.h"

namespace zv::survey {
namespace {

struct NamedCodec {
    const char* name;
    Kind kind;
};

// In the order of Codec, from kH264 on.
constexpr NamedCodec kCodecs[] = {
    {"h264", Kind::kVideo},
    {"hevc", Kind::kVideo},
    {"vvc", Kind::kVideo},
    {"mpeg1video", Kind::kVideo},
    {"mpeg2video", Kind::kVideo},
    {"mpeg4", Kind::kVideo},
    {"av1", Kind::kVideo},
    {"mp1", Kind::kAudio},
    {"mp2", Kind::kAudio},
    {"mp3", Kind::kAudio},
    {"aac", Kind::kAudio},
    {"aac_latm", Kind::kAudio},
    {"ac3", Kind::kAudio},
    {"eac3", Kind::kAudio},
    {"ac4", Kind::kAudio},
    {"dts", Kind::kAudio},
    {"truehd", Kind::kAudio},
    {"s302m", Kind::kAudio},
    {"opus", Kind::kAudio},
    {"dvb_subtitle", Kind::kSubtitle},
    {"dvb_teletext", Kind::kSubtitle},
    {"scte_35", Kind::kData},
    {"timed_id3", Kind::kData},
    {"klv", Kind::kData},
    {"arib_caption", Kind::kSubtitle},
};
static_assert(std::size(kCodecs) == static_cast<size_t>(Codec::kAribCaption));

const NamedCodec* find_codec(Codec codec) {
    return codec == Codec::kUnknown ? nullptr : &kCodecs[static_cast<size_t>(codec) - 1];
}

// Types that ISO/IEC 13818-1 assigns, and those of discs, whose codec has no name here.
Kind kind_of_type(const DeclaredStream& stream) {
    switch (stream.stream_type) {
        case 0x1E:  // auxiliary video
        case 0x21:  // JPEG 2000
        case 0x22:
        case 0x23:
        case 0x32:  // JPEG XS
        case 0x35:  // EVC
            return Kind::kVideo;
        case 0x2D:  // MPEG-H 3D audio
        case 0x2E:
            return Kind::kAudio;
        case 0x80:  // LPCM
            return stream.hdmv ? Kind::kAudio : Kind::kData;
        case 0x90:  // presentation graphics
        case 0x92:  // text subtitles
            return stream.hdmv ? Kind::kSubtitle : Kind::kData;
        case 0x1D:  // ISO/IEC 14496-17 text
            return Kind::kSubtitle;
        default:
            return Kind::kData;
    }
}

}  // namespace

const char* codec_name(Codec codec) {
    const NamedCodec* named = find_codec(codec);
    return named != nullptr ? named->name : nullptr;
}

const char* kind_name(Kind kind) {
    constexpr std::array kNames = {"video", "audio", "subtitle", "data"};
    return kNames[static_cast<size_t>(kind)];
}

Kind kind_of(Codec codec, const DeclaredStream& stream) {
    const NamedCodec* named = find_codec(codec);
    return named != nullptr ? named->kind : kind_of_type(stream);
}

}  // namespace zv::survey
