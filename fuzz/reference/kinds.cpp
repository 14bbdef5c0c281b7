// SPDX-License-Identifier: MIT
// What a stream is by its descriptors and its stream_type, as far as these tell (ISO/IEC 13818-1,
// table 2-34; ETSI EN 300 468, 6.2; ATSC A/53; registered formats).
#include <algorithm>
#include <string_view>

#include "tables.h"

namespace fuzz::reference {
namespace {

constexpr uint8_t kTagExtension = 0x7F;

struct Format {
    std::string_view identifier;
    Kind kind;
};
constexpr Format kFormats[] = {
    {"AC-3", Kind::kAudio}, {"EAC3", Kind::kAudio}, {"AC-4", Kind::kAudio}, {"Opus", Kind::kAudio},
    {"DTS1", Kind::kAudio}, {"DTS2", Kind::kAudio}, {"DTS3", Kind::kAudio}, {"BSSD", Kind::kAudio},
    {"HEVC", Kind::kVideo}, {"VVC ", Kind::kVideo}, {"AV01", Kind::kVideo}, {"VC-1", Kind::kVideo},
    {"drac", Kind::kVideo}, {"KLVA", Kind::kData},  {"ID3 ", Kind::kData},
};

Kind kind_of_registration(Bytes data) {
    for (const Format& format : kFormats) {
        if (data.size() >= 4 && std::ranges::equal(data.first(4), format.identifier))
            return format.kind;
    }
    return Kind::kUnknown;
}

Kind kind_of_descriptor(const Descriptor& descriptor) {
    switch (descriptor.tag) {
        case kTagRegistration:
            return kind_of_registration(descriptor.data);
        case 0x6A:  // AC-3
        case 0x7A:  // enhanced AC-3
        case 0x7B:  // DTS
        case 0x7C:  // AAC
            return Kind::kAudio;
        case 0x46:  // VBI teletext
        case 0x56:  // teletext
        case 0x59:  // subtitling
            return Kind::kSubtitle;
        case kTagExtension: {
            if (descriptor.data.empty()) return Kind::kUnknown;
            const uint8_t tag = descriptor.data[0];
            const bool audio = tag == 0x0E || tag == 0x0F || tag == 0x15 || tag == 0x21;
            if (tag == 0x20) return Kind::kSubtitle;  // TTML
            return audio ? Kind::kAudio : Kind::kUnknown;
        }
        default:
            return Kind::kUnknown;
    }
}

constexpr uint8_t kVideoTypes[] = {0x01, 0x02, 0x10, 0x1B, 0x1E, 0x1F, 0x20, 0x21,
                                   0x22, 0x23, 0x24, 0x25, 0x33, 0x34, 0xEA};
constexpr uint8_t kAudioTypes[] = {0x03, 0x04, 0x0F, 0x11, 0x1C, 0x2D, 0x2E, 0x81, 0x87};
constexpr uint8_t kMetadataType = 0x15;
// Of programmes registered as HDMV, besides the ones above.
constexpr uint8_t kHdmvAudioTypes[] = {0x80, 0x82, 0x83, 0x84, 0x85, 0x86, 0xA1, 0xA2};
constexpr uint8_t kHdmvSubtitleTypes[] = {0x90, 0x92};

bool holds(std::span<const uint8_t> types, uint8_t type) {
    return std::ranges::find(types, type) != types.end();
}

Kind kind_of_type(uint8_t type, bool hdmv) {
    if (hdmv && holds(kHdmvAudioTypes, type)) return Kind::kAudio;
    if (hdmv && holds(kHdmvSubtitleTypes, type)) return Kind::kSubtitle;
    if (holds(kVideoTypes, type)) return Kind::kVideo;
    if (holds(kAudioTypes, type)) return Kind::kAudio;
    return type == kMetadataType ? Kind::kData : Kind::kUnknown;
}

}  // namespace

Kind kind_of(const Stream& stream, const Pmt& pmt) {
    if (carries_sections(stream, pmt)) return Kind::kSections;
    for (const Descriptor& descriptor : descriptors_in(stream.descriptors)) {
        const Kind kind = kind_of_descriptor(descriptor);
        if (kind != Kind::kUnknown) return kind;
    }
    return kind_of_type(stream.type, pmt.is_hdmv());
}

}  // namespace fuzz::reference
