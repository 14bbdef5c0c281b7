// SPDX-License-Identifier: MIT
// AES3 sound of SMPTE 302M: the header of each PES payload. The sampling rate is always 48 kHz.
#include <algorithm>

#include "survey/codecs/audio/audio.h"
#include "survey/codecs/audio/audio_frames.h"
#include "survey/codecs/bit_reader.h"

namespace zv::survey {
namespace {

constexpr size_t kHeader = 4;  // bytes
constexpr uint32_t kSampleRate = 48000;

struct Header {
    size_t payload;
    uint32_t channels;
    uint32_t bits_per_sample;
};

std::optional<Header> read_header(std::span<const uint8_t> bytes) {
    BitReader reader(bytes.first(bytes.size() < kHeader ? bytes.size() : kHeader));
    Header header = {};
    header.payload = reader.bits(16);
    header.channels = 2 * (reader.bits(2) + 1);
    reader.skip(8);  // channel_identification
    header.bits_per_sample = 16 + 4 * reader.bits(2);
    const bool aligned = reader.bits(4) == 0;  // alignment_bits
    // Two subframes, each with four bits beside its sample, are the least that is carried.
    const size_t pair = size_t{2} * (header.bits_per_sample + 4) / 8;
    if (reader.overrun() || !aligned || header.bits_per_sample > 24 || header.payload < pair ||
        header.payload % pair != 0)
        return std::nullopt;
    return header;
}

std::optional<AudioFrame> parse_frame(std::span<const uint8_t> bytes) {
    const auto header = read_header(bytes);
    if (!header) return std::nullopt;
    return AudioFrame{kHeader + header->payload, header->channels << 8 | header->bits_per_sample};
}

// Of what the stream carries: four bits beside each sample, and the headers.
uint32_t bit_rate(const Header& header) {
    const uint32_t bits = header.channels * (header.bits_per_sample + 4);
    const auto samples = std::max(static_cast<uint32_t>(header.payload * 8 / bits), 1u);
    return kSampleRate * bits + static_cast<uint32_t>(kHeader * 8) * kSampleRate / samples;
}

}  // namespace

std::optional<AudioFacts> read_s302m(std::span<const uint8_t> es) {
    const auto run = find_audio_frames(es, parse_frame);
    if (!run || run->offset != 0) return std::nullopt;  // payloads begin with their header
    const auto header = read_header(es);
    AudioFacts facts;
    facts.codec = Codec::kS302m;
    facts.details.sample_rate = kSampleRate;
    facts.details.channels = static_cast<uint8_t>(header->channels);
    facts.details.bit_rate_bps = bit_rate(*header);
    facts.frames = run->frames;
    facts.sure = facts.settled = run->sure();
    return facts;
}

}  // namespace zv::survey
