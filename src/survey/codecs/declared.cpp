// SPDX-License-Identifier: MIT
// What the tables declare a stream to be: descriptors first, then stream_type.
#include <algorithm>
#include <cstring>

#include "survey/codecs/codec.h"

namespace zv::survey {
namespace {

constexpr const char* kNames[] = {
    nullptr,        "h264",    "hevc",      "vvc",    "mpeg1video",  "mpeg2video", "mpeg4",
    "av1",          "mp1",     "mp2",       "mp3",    "aac",         "aac_latm",   "ac3",
    "eac3",         "ac4",     "dts",       "truehd", "s302m",       "opus",       "dvb_subtitle",
    "dvb_teletext", "scte_35", "timed_id3", "klv",    "arib_caption"};

struct Registered {
    char name[5];
    Codec codec;
};
constexpr Registered kRegistered[] = {
    {"HEVC", Codec::kHevc},  {"VVC ", Codec::kVvc},     {"AV01", Codec::kAv1},
    {"AC-3", Codec::kAc3},   {"EAC3", Codec::kEac3},    {"AC-4", Codec::kAc4},
    {"DTS1", Codec::kDts},   {"DTS2", Codec::kDts},     {"DTS3", Codec::kDts},
    {"BSSD", Codec::kS302m}, {"Opus", Codec::kOpus},    {"CUEI", Codec::kScte35},
    {"KLVA", Codec::kKlv},   {"ID3 ", Codec::kTimedId3}};

// Calls see(tag, bytes) for each descriptor.
template <typename See>
void for_each(std::span<const uint8_t> rest, See see) {
    while (rest.size() >= 2) {
        const size_t length = std::min<size_t>(rest[1], rest.size() - 2);
        see(rest[0], rest.subspan(2, length));
        rest = rest.subspan(2 + length);
    }
}

Codec described(uint8_t tag, std::span<const uint8_t> bytes) {
    switch (tag) {
        case 0x05:
            for (const Registered& known : kRegistered)
                if (bytes.size() >= 4 && std::memcmp(bytes.data(), known.name, 4) == 0)
                    return known.codec;
            return Codec::kUnknown;
        case 0x56:
            return Codec::kDvbTeletext;
        case 0x59:
            return Codec::kDvbSubtitle;
        case 0x6A:
            return Codec::kAc3;
        case 0x7A:
            return Codec::kEac3;
        case 0x7B:
            return Codec::kDts;
        case 0x7C:
            return Codec::kAac;
        default:
            return Codec::kUnknown;
    }
}

Codec by_stream_type(const DeclaredStream& stream) {
    switch (stream.stream_type) {
        case 0x01:
            return Codec::kMpeg1Video;
        case 0x02:
            return Codec::kMpeg2Video;
        case 0x03:
        case 0x04:
            return Codec::kMp2;
        case 0x0F:
            return Codec::kAac;
        case 0x10:
            return Codec::kMpeg4;
        case 0x11:
            return Codec::kAacLatm;
        case 0x1B:
            return Codec::kH264;
        case 0x24:
            return Codec::kHevc;
        case 0x33:
            return Codec::kVvc;
        case 0x81:
            return Codec::kAc3;
        case 0x82:
            return stream.hdmv ? Codec::kDts : Codec::kUnknown;
        case 0x83:
            return stream.hdmv ? Codec::kTrueHd : Codec::kUnknown;
        case 0x84:
        case 0x87:
            return Codec::kEac3;
        case 0x86:
            return stream.hdmv ? Codec::kDts : Codec::kScte35;
        default:
            return Codec::kUnknown;
    }
}

}  // namespace

const char* codec_name(Codec codec) {
    return kNames[static_cast<size_t>(codec)];
}

const char* kind_name(Kind kind) {
    constexpr const char* kKinds[] = {"video", "audio", "subtitle", "data"};
    return kKinds[static_cast<size_t>(kind)];
}

Codec declared_codec(const DeclaredStream& stream) {
    Codec codec = Codec::kUnknown;
    for_each(stream.descriptors, [&](uint8_t tag, std::span<const uint8_t> bytes) {
        if (codec == Codec::kUnknown) codec = described(tag, bytes);
    });
    return codec == Codec::kUnknown ? by_stream_type(stream) : codec;
}

Kind kind_of(Codec codec, const DeclaredStream&) {
    if (codec == Codec::kUnknown || codec >= Codec::kScte35)
        return codec == Codec::kAribCaption ? Kind::kSubtitle : Kind::kData;
    if (codec <= Codec::kAv1) return Kind::kVideo;
    return codec < Codec::kDvbSubtitle ? Kind::kAudio : Kind::kSubtitle;
}

size_t declared_languages(std::span<const uint8_t> descriptors, std::span<Language> out) {
    size_t count = 0;
    for_each(descriptors, [&](uint8_t tag, std::span<const uint8_t> bytes) {
        const size_t entry = tag == 0x0A ? 4 : tag == 0x46 || tag == 0x56 ? 5 : tag == 0x59 ? 8 : 0;
        for (; entry != 0 && bytes.size() >= 3;
             bytes = bytes.subspan(std::min(entry, bytes.size()))) {
            const Language language = {static_cast<char>(bytes[0]), static_cast<char>(bytes[1]),
                                       static_cast<char>(bytes[2])};
            const auto known = out.first(count);
            const bool repeated = std::ranges::find(known, language) != known.end();
            if (!repeated && count < out.size()) out[count++] = language;
        }
    });
    return count;
}

}  // namespace zv::survey
