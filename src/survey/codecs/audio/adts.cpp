// SPDX-License-Identifier: MIT
// AAC in ADTS frames (ISO/IEC 13818-7, 6.2).
#include "survey/codecs/audio/aac_config.h"
#include "survey/codecs/audio/aac_fill.h"
#include "survey/codecs/audio/audio.h"
#include "survey/codecs/audio/audio_frames.h"

namespace zv::survey {
namespace {

constexpr size_t kHeader = 7;  // bytes, without the CRC

struct AdtsHeader {
    bool crc;
    AacConfig config;
    uint32_t channel_configuration;
    size_t frame_length;
    bool single_block;  // one raw data block, which ends with the frame
};

std::optional<AdtsHeader> read_header(std::span<const uint8_t> bytes) {
    if (bytes.size() < kHeader || bytes[0] != 0xFF || (bytes[1] & 0xF6) != 0xF0)
        return std::nullopt;
    BitReader reader(bytes.first(kHeader));
    reader.skip(15);
    AdtsHeader header = {};
    header.crc = !reader.flag();  // protection_absent
    header.config.object_type = reader.bits(2) + 1;
    header.config.core_sample_rate = aac_sample_rate(reader.bits(4));
    header.config.sample_rate = header.config.core_sample_rate;
    reader.bit();  // private_bit
    header.channel_configuration = reader.bits(3);
    header.config.channels = aac_channels(header.channel_configuration);
    reader.skip(4);  // original_copy, home, copyright bits
    header.frame_length = reader.bits(13);
    reader.skip(11);  // adts_buffer_fullness
    header.single_block = reader.bits(2) == 0;
    if (header.config.sample_rate == 0 || header.frame_length < kHeader) return std::nullopt;
    return header;
}

std::optional<AudioFrame> parse_frame(std::span<const uint8_t> bytes) {
    const auto header = read_header(bytes);
    if (!header) return std::nullopt;
    return AudioFrame{header->frame_length,
                      header->config.sample_rate << 8 | header->config.object_type};
}

size_t header_size(const AdtsHeader& header) {
    return kHeader + (header.crc ? 2 : 0);
}

// Implicit SBR, which only the frames themselves tell. -> nothing before enough of them are there
std::optional<bool> has_implicit_sbr(std::span<const uint8_t> frames) {
    constexpr int kEnough = 4;
    for (int i = 0; i < kEnough; ++i) {
        const auto header = read_header(frames);
        if (!header || header->frame_length > frames.size()) return std::nullopt;
        if (!header->single_block || header->frame_length <= header_size(*header)) return false;
        const auto frame = frames.first(header->frame_length);
        if (!has_sbr_fill_element(frame.subspan(header_size(*header)))) return false;
        frames = frames.subspan(header->frame_length);
    }
    return true;
}

// Without a channel_configuration the first element describes the channels.
uint8_t described_channels(const AdtsHeader& header, std::span<const uint8_t> frame) {
    constexpr uint32_t kProgramConfig = 5;
    BitReader reader(frame);
    reader.skip(8 * header_size(header));
    return reader.bits(3) == kProgramConfig ? read_program_config_channels(reader) : uint8_t{0};
}

}  // namespace

std::optional<AudioFacts> read_adts(std::span<const uint8_t> es) {
    const auto run = find_audio_frames(es, parse_frame);
    if (!run) return std::nullopt;
    const auto frame = es.subspan(run->offset);
    auto header = read_header(frame);
    if (header->channel_configuration == 0)
        header->config.channels = described_channels(*header, frame);
    const auto sbr = may_have_implicit_sbr(header->config) ? has_implicit_sbr(frame) : false;
    if (sbr == true) {
        header->config.sbr = true;
        header->config.sample_rate *= 2;
    }
    AudioFacts facts;
    facts.codec = Codec::kAac;
    facts.details = aac_details(header->config);
    facts.frames = run->frames;
    facts.sure = run->sure();
    facts.settled = facts.sure && sbr.has_value();
    return facts;
}

}  // namespace zv::survey
