// SPDX-License-Identifier: MIT
// AC-4 (ETSI TS 103 190-1): the sampling rate of the table of contents after the sync word. How
// many channels a presentation has is told by the AC-4 descriptor (ETSI EN 300 468, D.7).
#include "survey/codecs/audio/audio.h"
#include "survey/codecs/audio/audio_frames.h"
#include "survey/codecs/bit_reader.h"
#include "survey/codecs/descriptors.h"

namespace zv::survey {
namespace {

struct Header {
    size_t frame_size;
    uint32_t sample_rate;
};

void skip_variable_bits(BitReader& reader, int width) {
    do {
        reader.bits(width);
    } while (reader.flag());
}

std::optional<Header> read_header(std::span<const uint8_t> bytes) {
    constexpr uint32_t kSyncWord = 0xAC40;
    constexpr uint32_t kSyncWordWithCrc = 0xAC41;
    constexpr uint32_t kLongSize = 0xFFFF;
    if (bytes.empty() || bytes[0] != kSyncWord >> 8) return std::nullopt;
    BitReader reader(header_room(bytes));
    const uint32_t sync = reader.bits(16);
    if (sync != kSyncWord && sync != kSyncWordWithCrc) return std::nullopt;
    size_t size = reader.bits(16);
    if (size == kLongSize) size = reader.bits(24);
    const size_t whole = reader.position() / 8 + size + (sync == kSyncWordWithCrc ? 2 : 0);
    if (reader.bits(2) == 3) skip_variable_bits(reader, 2);   // bitstream_version
    reader.skip(10);                                          // sequence_counter
    if (reader.flag() && reader.bits(3) > 0) reader.skip(2);  // wait_frames, br_code
    const bool fs_index = reader.flag();
    if (reader.overrun() || size == 0) return std::nullopt;
    return Header{whole, fs_index ? 48000u : 44100u};
}

std::optional<AudioFrame> parse_frame(std::span<const uint8_t> bytes) {
    const auto header = read_header(bytes);
    return header ? std::optional(AudioFrame{header->frame_size, header->sample_rate})
                  : std::nullopt;
}

}  // namespace

std::optional<AudioFacts> read_ac4(std::span<const uint8_t> es) {
    const auto run = find_audio_frames(es, parse_frame);
    if (!run) return std::nullopt;
    AudioFacts facts;
    facts.codec = Codec::kAc4;
    facts.details.sample_rate = read_header(es.subspan(run->offset))->sample_rate;
    facts.frames = run->frames;
    facts.sure = facts.settled = run->sure();
    return facts;
}

uint8_t ac4_channels(std::span<const uint8_t> loop) {
    constexpr uint8_t kAc4 = 0x15;
    constexpr uint8_t kConfigFlag = 0x80;
    Descriptors descriptors(loop);
    while (const auto descriptor = descriptors.next()) {
        const auto body = descriptor->body;
        if (descriptor->tag != kTagExtension || body.size() < 3 || body[0] != kAc4) continue;
        if ((body[1] & kConfigFlag) == 0) continue;
        const uint32_t channel_mode = body[2] >> 5 & 3;  // mono, stereo, more, reserved
        return static_cast<uint8_t>(channel_mode < 2 ? channel_mode + 1 : 0);
    }
    return 0;
}

}  // namespace zv::survey
