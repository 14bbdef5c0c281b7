// SPDX-License-Identifier: MIT
// Implementation of codec_config.h.
#include "flv/codecs/codec_config.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "base/bytes.h"
#include "survey/codecs/audio/aac_config.h"
#include "survey/codecs/audio/audio.h"
#include "survey/codecs/audio/mpeg_audio.h"
#include "survey/codecs/bit_reader.h"
#include "survey/codecs/video/video.h"

namespace zvprobe {
namespace {

using zv::survey::BitReader;
using zv::survey::VideoDetails;
using Bytes = std::span<const uint8_t>;

constexpr uint32_t kSbr = 5;
constexpr uint32_t kPs = 29;
constexpr size_t kAvcFixedSize = 6;

// -> the number with what it is, for what has no name
std::string name_or_number(const char* name, const char* what, uint32_t number) {
    return name != nullptr ? name : what + std::to_string(number);
}

std::string object_name(const zv::survey::AacConfig& config) {
    const char* const core = zv::survey::aac_object_name(config.object_type);
    const std::string name = name_or_number(core, "object type ", config.object_type);
    if (config.ps) return name + " with SBR and PS";
    return config.sbr ? name + " with SBR" : name;
}

std::string level_name(uint8_t profile, uint8_t constraints, uint8_t level) {
    VideoDetails details;
    zv::survey::set_h264_level(details, profile, constraints, level);
    return details.level;
}

// Takes the next unit, and the length of two bytes before it. -> nothing where it is cut off
std::optional<Bytes> take_unit(Bytes& bytes) {
    constexpr size_t kLength = 2;
    if (bytes.size() < kLength) return std::nullopt;
    const size_t length = big_endian(bytes.first(kLength));
    if (length > bytes.size() - kLength) return std::nullopt;
    const Bytes unit = bytes.subspan(kLength, length);
    bytes = bytes.subspan(kLength + length);
    return unit;
}

bool is_avc_config(Bytes config) {
    constexpr uint8_t kVersion = 1;
    return config.size() >= kAvcFixedSize && config[0] == kVersion;
}

std::optional<VideoDetails> read_avc(Bytes config) {
    const bool has_set = is_avc_config(config) && (config[kAvcFixedSize - 1] & 0x1F) != 0;
    if (!has_set) return std::nullopt;
    config = config.subspan(kAvcFixedSize);
    const auto set = take_unit(config);
    return set ? zv::survey::read_h264_sps(*set) : std::nullopt;
}

// The parser takes the units of a stream, each after a start code; the picture is in the first ones.
std::optional<VideoDetails> read_hevc(Bytes config) {
    constexpr size_t kFixedSize = 23;
    constexpr size_t kArrayHead = 3;  // type of the units, number
    if (config.size() < kFixedSize) return std::nullopt;
    std::vector<uint8_t> stream;
    size_t arrays = config[kFixedSize - 1];
    config = config.subspan(kFixedSize);
    for (; arrays > 0 && config.size() >= kArrayHead; --arrays) {
        size_t units = big_endian(config.subspan(1, 2));
        config = config.subspan(kArrayHead);
        for (; units > 0; --units) {
            const auto unit = take_unit(config);
            if (!unit) break;
            stream.insert(stream.end(), {0, 0, 1});
            stream.insert(stream.end(), unit->begin(), unit->end());
        }
    }
    const auto facts = zv::survey::read_h265(stream);
    return facts ? std::optional(facts->details) : std::nullopt;
}

std::optional<VideoDetails> read_av1(Bytes config) {
    constexpr size_t kFixedSize = 4;
    constexpr uint8_t kMarkerAndVersion = 0x81;
    if (config.size() < kFixedSize || config[0] != kMarkerAndVersion) return std::nullopt;
    const auto facts = zv::survey::read_av1(config.subspan(kFixedSize));
    return facts ? std::optional(facts->details) : std::nullopt;
}

bool begins_with(Bytes bytes, std::string_view text) {
    return bytes.size() >= text.size() && std::ranges::equal(bytes.first(text.size()), text);
}

std::optional<SoundFormat> read_opus(Bytes config) {
    constexpr uint32_t kOpusRate = 48000;  // whatever the rate was before coding
    constexpr size_t kChannels = 9;
    if (!begins_with(config, "OpusHead") || config.size() <= kChannels) return std::nullopt;
    return SoundFormat{kOpusRate, config[kChannels]};
}

// With or without the marker of a FLAC file; the first block is always STREAMINFO.
std::optional<SoundFormat> read_flac(Bytes config) {
    constexpr size_t kMarker = 4;
    constexpr uint32_t kStreamInfo = 0;
    if (begins_with(config, "fLaC")) config = config.subspan(kMarker);
    BitReader reader(config);
    reader.skip(1);  // last block
    if (reader.bits(7) != kStreamInfo) return std::nullopt;
    reader.skip(24 + 16 + 16 + 24 + 24);  // length; sizes of blocks and frames
    SoundFormat sound;
    sound.sample_rate = reader.bits(20);
    sound.channels = reader.bits(3) + 1;
    if (reader.overrun() || sound.sample_rate == 0) return std::nullopt;
    return sound;
}

}  // namespace

std::optional<AacConfig> parse_aac_config(Bytes config) {
    const auto read = zv::survey::read_whole_aac_config(BitReader(config));
    if (!read) return std::nullopt;
    const auto details = zv::survey::aac_details(*read);
    const uint32_t object_type = read->ps ? kPs : read->sbr ? kSbr : read->object_type;
    return AacConfig{object_type, object_name(*read), read->core_sample_rate, details.sample_rate,
                     details.channels};
}

std::optional<AvcConfig> parse_avc_config(Bytes config) {
    if (!is_avc_config(config)) return std::nullopt;
    const uint8_t profile = config[1];
    const uint8_t constraints = config[2];
    const uint8_t level = config[3];
    const char* const profile_name = zv::survey::h264_profile_name(profile, constraints);
    return AvcConfig{profile, name_or_number(profile_name, "profile ", profile), level,
                     level_name(profile, constraints, level)};
}

std::optional<VideoDetails> read_video_config(FlvMedia media, Bytes config) {
    if (media == FlvMedia::kAvc) return read_avc(config);
    if (media == FlvMedia::kHevc) return read_hevc(config);
    return media == FlvMedia::kAv1 ? read_av1(config) : std::nullopt;
}

std::optional<SoundFormat> read_audio_config(FlvMedia media, Bytes config) {
    if (media == FlvMedia::kOpus) return read_opus(config);
    return media == FlvMedia::kFlac ? read_flac(config) : std::nullopt;
}

std::optional<SoundFormat> read_audio_frame(FlvMedia media, Bytes frame) {
    using zv::survey::MpegAudioHeader;
    if (media == FlvMedia::kMp3) {
        const auto header = zv::survey::parse_mpeg_audio_header(frame);
        if (!header) return std::nullopt;
        return SoundFormat{header->sample_rate,
                           header->mode == MpegAudioHeader::Mode::kMono ? 1u : 2u};
    }
    if (media != FlvMedia::kAc3) return std::nullopt;
    const auto facts = zv::survey::read_ac3(frame);
    if (!facts) return std::nullopt;
    return SoundFormat{facts->details.sample_rate, facts->details.channels};
}

}  // namespace zvprobe
