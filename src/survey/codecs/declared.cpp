// SPDX-License-Identifier: MIT
// What a PMT says of a stream: codec by descriptors and stream_type, languages.
#include <algorithm>

#include "bitStream/big_endian.h"
#include "survey/codecs/codec.h"
#include "survey/codecs/descriptors.h"

namespace zv::survey {
namespace {

constexpr uint8_t kLanguage = 0x0A;
constexpr uint8_t kMetadata = 0x26;
constexpr uint8_t kAc3 = 0x6A;
constexpr uint8_t kEac3 = 0x7A;
constexpr uint8_t kDts = 0x7B;
constexpr uint8_t kAac = 0x7C;
constexpr uint8_t kAribDataComponent = 0xFD;

constexpr uint8_t kLatmStream = 0x11;
constexpr uint8_t kPrivateStream = 0x06;

Codec codec_of_identifier(uint32_t identifier) {
    switch (identifier) {
        case four_letters("AC-3"):
            return Codec::kAc3;
        case four_letters("EAC3"):
            return Codec::kEac3;
        case four_letters("AC-4"):
            return Codec::kAc4;
        case four_letters("DTS1"):
        case four_letters("DTS2"):
        case four_letters("DTS3"):
            return Codec::kDts;
        case four_letters("BSSD"):
            return Codec::kS302m;
        case four_letters("Opus"):
            return Codec::kOpus;
        case four_letters("HEVC"):
            return Codec::kHevc;
        case four_letters("VVC "):
            return Codec::kVvc;
        case four_letters("AV01"):
            return Codec::kAv1;
        case four_letters("KLVA"):
            return Codec::kKlv;
        case four_letters("ID3 "):
            return Codec::kTimedId3;
        case four_letters("CUEI"):
            return Codec::kScte35;
        default:
            return Codec::kUnknown;
    }
}

Codec codec_of_first_four(std::span<const uint8_t> body) {
    return body.size() < 4 ? Codec::kUnknown : codec_of_identifier(load_be32(body));
}

// Formats of metadata are named by an identifier, of the application or of the format itself
// (ISO/IEC 13818-1, 2.6.60).
Codec codec_of_metadata(std::span<const uint8_t> body) {
    constexpr uint32_t kNamedApplication = 0xFFFF;
    constexpr uint8_t kNamedFormat = 0xFF;
    if (body.size() < 3) return Codec::kUnknown;
    Codec codec = Codec::kUnknown;
    const bool named_application = load_be16(body) == kNamedApplication;
    body = body.subspan(2);
    if (named_application) {
        codec = codec_of_first_four(body);
        body = body.subspan(std::min<size_t>(4, body.size()));
    }
    if (codec == Codec::kUnknown && !body.empty() && body[0] == kNamedFormat)
        codec = codec_of_first_four(body.subspan(1));
    return codec;
}

Codec codec_of_extension(std::span<const uint8_t> body) {
    switch (body.empty() ? 0 : body[0]) {
        case 0x0E:  // DTS-HD
        case 0x0F:  // DTS Neural
        case 0x21:  // DTS-UHD
            return Codec::kDts;
        case 0x15:
            return Codec::kAc4;
        default:
            return Codec::kUnknown;
    }
}

Codec codec_of_arib_component(std::span<const uint8_t> body) {
    constexpr uint32_t kCaption = 0x0008;
    constexpr uint32_t kPartialReceptionCaption = 0x0012;
    if (body.size() < 2) return Codec::kUnknown;
    const uint32_t data_component_id = load_be16(body);
    return data_component_id == kCaption || data_component_id == kPartialReceptionCaption
               ? Codec::kAribCaption
               : Codec::kUnknown;
}

Codec codec_of_descriptor(const Descriptor& descriptor, uint8_t stream_type) {
    switch (descriptor.tag) {
        case kTagRegistration:
            return codec_of_first_four(descriptor.body);
        case kMetadata:
            return codec_of_metadata(descriptor.body);
        case kTagVbiTeletext:
        case kTagTeletext:
            return Codec::kDvbTeletext;
        case kTagSubtitling:
            return Codec::kDvbSubtitle;
        case kAc3:
            return Codec::kAc3;
        case kEac3:
            return Codec::kEac3;
        case kDts:
            return Codec::kDts;
        case kAac:
            return stream_type == kLatmStream ? Codec::kAacLatm : Codec::kAac;
        case kTagExtension:
            return codec_of_extension(descriptor.body);
        case kAribDataComponent:
            return stream_type == kPrivateStream ? codec_of_arib_component(descriptor.body)
                                                 : Codec::kUnknown;
        default:
            return Codec::kUnknown;
    }
}

// Blu-ray discs give meanings of their own to user private types.
Codec codec_of_disc_type(uint8_t stream_type) {
    switch (stream_type) {
        case 0x82:
        case 0x85:  // high resolution
        case 0x86:  // lossless
        case 0xA2:  // secondary
            return Codec::kDts;
        case 0x83:
            return Codec::kTrueHd;
        case 0x84:
        case 0xA1:  // secondary
            return Codec::kEac3;
        default:
            return Codec::kUnknown;
    }
}

Codec codec_of_type(uint8_t stream_type) {
    switch (stream_type) {
        case 0x01:
            return Codec::kMpeg1Video;
        case 0x02:
            return Codec::kMpeg2Video;
        case 0x03:
        case 0x04:
            return Codec::kMp2;
        case 0x0F:
        case 0x1C:  // without a transport of its own
            return Codec::kAac;
        case 0x10:
            return Codec::kMpeg4;
        case 0x11:
            return Codec::kAacLatm;
        case 0x1B:
        case 0x1F:  // scalable
        case 0x20:  // multiview
            return Codec::kH264;
        case 0x24:
        case 0x25:  // temporal subset
            return Codec::kHevc;
        case 0x33:
        case 0x34:  // temporal subset
            return Codec::kVvc;
        case 0x81:
            return Codec::kAc3;
        case 0x86:
            return Codec::kScte35;
        case 0x87:
            return Codec::kEac3;
        case 0x8A:
            return Codec::kDts;
        default:
            return Codec::kUnknown;
    }
}

// Bytes of one entry of a descriptor that begins with a language; 0 for other descriptors.
size_t language_entry_size(uint8_t tag) {
    switch (tag) {
        case kLanguage:
            return 4;
        case kTagVbiTeletext:
        case kTagTeletext:
            return 5;
        case kTagSubtitling:
            return 8;
        default:
            return 0;
    }
}

}  // namespace

Codec declared_codec(const DeclaredStream& stream) {
    // On discs the type says more than the descriptors, which may be those of a core.
    const Codec of_disc = stream.hdmv ? codec_of_disc_type(stream.stream_type) : Codec::kUnknown;
    if (of_disc != Codec::kUnknown) return of_disc;
    Descriptors loop(stream.descriptors);
    while (const auto descriptor = loop.next()) {
        const Codec codec = codec_of_descriptor(*descriptor, stream.stream_type);
        if (codec != Codec::kUnknown) return codec;
    }
    return codec_of_type(stream.stream_type);
}

size_t declared_languages(std::span<const uint8_t> descriptors, std::span<Language> out) {
    const size_t room = std::min(out.size(), kMaxLanguages);
    size_t count = 0;
    Descriptors loop(descriptors);
    while (const auto descriptor = loop.next()) {
        const size_t entry = language_entry_size(descriptor->tag);
        if (entry == 0) continue;
        for (auto body = descriptor->body; body.size() >= entry; body = body.subspan(entry)) {
            Language language;
            std::copy_n(body.begin(), language.size(), language.begin());
            const auto end = out.begin() + static_cast<std::ptrdiff_t>(count);
            if (count < room && std::find(out.begin(), end, language) == end)
                out[count++] = language;
        }
    }
    return count;
}

}  // namespace zv::survey
