// SPDX-License-Identifier: MIT
// Implementation of mpeg_audio.h, with the tables of the standards, and MPEG audio streams.
#include "survey/codecs/audio/mpeg_audio.h"

#include <array>

#include "survey/codecs/audio/audio.h"
#include "survey/codecs/audio/audio_frames.h"

namespace zv::survey {
namespace {

using Version = MpegAudioHeader::Version;
using Mode = MpegAudioHeader::Mode;
using Bitrates = std::array<uint16_t, 15>;  // by bitrate_index; 0: free

constexpr std::array<Bitrates, 3> kBitrates1 = {{
    {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
}};
constexpr std::array<Bitrates, 3> kBitrates2 = {{
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
}};
constexpr std::array<uint32_t, 3> kSampleRates1 = {44100, 48000, 32000};

std::optional<Version> version_of(int id) {
    switch (id) {
        case 0:
            return Version::k25;
        case 2:
            return Version::k2;
        case 3:
            return Version::k1;
        default:
            return std::nullopt;
    }
}

uint32_t rate_divider(Version version) {
    return version == Version::k1 ? 1 : version == Version::k2 ? 2 : 4;
}

std::optional<AudioFrame> parse_frame(std::span<const uint8_t> bytes) {
    const auto header = parse_mpeg_audio_header(bytes);
    if (!header) return std::nullopt;
    const auto version = static_cast<uint32_t>(header->version);
    const auto layer = static_cast<uint32_t>(header->layer);
    return AudioFrame{header->frame_size(), header->sample_rate << 8 | version << 4 | layer};
}

}  // namespace

std::optional<MpegAudioHeader> parse_mpeg_audio_header(std::span<const uint8_t> bytes) {
    if (bytes.size() < MpegAudioHeader::kSize || bytes[0] != 0xFF || (bytes[1] & 0xE0) != 0xE0)
        return std::nullopt;
    const auto version = version_of(bytes[1] >> 3 & 3);
    const int layer_bits = bytes[1] >> 1 & 3;
    const size_t bitrate_index = bytes[2] >> 4;
    const size_t rate_index = bytes[2] >> 2 & 3;
    if (!version || layer_bits == 0 || bitrate_index == 0 || bitrate_index == 15 || rate_index == 3)
        return std::nullopt;

    const int layer = 4 - layer_bits;
    const auto& bitrates = *version == Version::k1 ? kBitrates1 : kBitrates2;
    return MpegAudioHeader{*version,
                           layer,
                           bitrates[static_cast<size_t>(layer - 1)][bitrate_index],
                           kSampleRates1[rate_index] / rate_divider(*version),
                           (bytes[2] & 2) != 0,
                           (bytes[1] & 1) == 0,
                           static_cast<Mode>(bytes[3] >> 6)};
}

size_t MpegAudioHeader::frame_size() const {
    constexpr size_t kLayer1Slot = 4;  // bytes
    const size_t slot = layer == 1 ? kLayer1Slot : 1;
    const size_t slots = samples() / 8 / slot * bitrate * 1000 / sample_rate;
    return (slots + (padding ? 1 : 0)) * slot;
}

uint32_t MpegAudioHeader::samples() const {
    if (layer == 1) return 384;
    return layer == 3 && version != Version::k1 ? 576 : 1152;
}

bool MpegAudioHeader::continues(const MpegAudioHeader& other) const {
    return version == other.version && layer == other.layer && sample_rate == other.sample_rate;
}

const char* version_name(Version version) {
    constexpr std::array kNames = {"MPEG-1", "MPEG-2", "MPEG-2.5"};
    return kNames[static_cast<size_t>(version)];
}

const char* mode_name(Mode mode) {
    constexpr std::array kNames = {"stereo", "joint stereo", "dual channel", "mono"};
    return kNames[static_cast<size_t>(mode)];
}

std::optional<AudioFacts> read_mpeg_audio(std::span<const uint8_t> es) {
    constexpr std::array kCodecs = {Codec::kMp1, Codec::kMp2, Codec::kMp3};
    const auto run = find_audio_frames(es, parse_frame);
    if (!run) return std::nullopt;
    const auto header = parse_mpeg_audio_header(es.subspan(run->offset));
    AudioFacts facts;
    facts.codec = kCodecs[static_cast<size_t>(header->layer - 1)];
    facts.details.sample_rate = header->sample_rate;
    facts.details.channels = header->mode == Mode::kMono ? 1 : 2;
    facts.details.bit_rate_bps = header->bitrate * 1000;
    facts.frames = run->frames;
    facts.sure = facts.settled = run->sure();
    return facts;
}

}  // namespace zv::survey
