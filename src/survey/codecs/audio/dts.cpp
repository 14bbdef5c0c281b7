// SPDX-License-Identifier: MIT
// DTS (ETSI TS 102 114): core frames, and which kind of extension substream follows them. Without
// a core an extension substream is known as such only.
#include <algorithm>
#include <array>
#include <cstdio>

#include "bitStream/big_endian.h"
#include "survey/codecs/audio/audio.h"
#include "survey/codecs/audio/audio_frames.h"
#include "survey/codecs/bit_reader.h"

namespace zv::survey {
namespace {

constexpr uint32_t kCoreSync = 0x7FFE8001;
constexpr uint32_t kExtensionSync = 0x64582025;

constexpr std::array<uint32_t, 16> kSampleRates = {
    0, 8000, 16000, 32000, 0, 0, 11025, 22050, 44100, 0, 0, 12000, 24000, 48000, 96000, 192000};
constexpr std::array<uint32_t, 29> kBitRates = {
    32000,   56000,   64000,   96000,   112000,  128000,  192000,  224000,  256000,  320000,
    384000,  448000,  512000,  576000,  640000,  768000,  960000,  1024000, 1152000, 1280000,
    1344000, 1408000, 1411200, 1472000, 1536000, 1920000, 2048000, 3072000, 3840000};
constexpr std::array<uint8_t, 16> kChannels = {1, 2, 2, 2, 2, 3, 3, 4, 4, 5, 6, 6, 6, 7, 8, 8};

struct Core {
    size_t frame_size;
    AudioDetails details;
    bool extended;
    uint32_t extension_kind;  // EXT_AUDIO_ID
};

std::optional<Core> read_core(std::span<const uint8_t> bytes) {
    constexpr size_t kMinFrame = 96;
    if (bytes.size() < 4 || load_be32(bytes) != kCoreSync) return std::nullopt;
    BitReader reader(header_room(bytes));
    reader.skip(32 + 1 + 5 + 1);  // sync word, frame type, deficit samples, CRC
    const uint32_t blocks = reader.bits(7) + 1;
    Core core = {};
    core.frame_size = reader.bits(14) + 1;
    const uint32_t amode = reader.bits(6);
    core.details.sample_rate = kSampleRates[reader.bits(4)];
    const uint32_t rate = reader.bits(5);
    reader.skip(1 + 1 + 1 + 1 + 1);  // down mix, dynamic range, time stamp, auxiliary data, HDCD
    core.extension_kind = reader.bits(3);
    core.extended = reader.flag();
    reader.bit();  // sync words in subframes
    const uint32_t lfe = reader.bits(2);
    if (reader.overrun() || blocks < 6 || core.frame_size < kMinFrame || lfe == 3 ||
        core.details.sample_rate == 0)
        return std::nullopt;
    core.details.bit_rate_bps = rate < kBitRates.size() ? kBitRates[rate] : 0;
    if (amode < kChannels.size())
        core.details.channels = static_cast<uint8_t>(kChannels[amode] + (lfe != 0 ? 1 : 0));
    return core;
}

// -> bytes of an extension substream; 0 when none begins there
size_t extension_size(std::span<const uint8_t> bytes) {
    if (bytes.size() < 4 || load_be32(bytes) != kExtensionSync) return 0;
    BitReader reader(header_room(bytes));
    reader.skip(32 + 8 + 2);  // sync word, user data, substream index
    const bool is_long = reader.flag();
    reader.skip(is_long ? 12 : 8);
    const size_t size = reader.bits(is_long ? 20 : 16) + 1;
    return reader.overrun() ? 0 : size;
}

std::optional<AudioFrame> parse_frame(std::span<const uint8_t> bytes) {
    if (const auto core = read_core(bytes)) {
        const size_t core_size = std::min(core->frame_size, bytes.size());
        const size_t more = extension_size(bytes.subspan(core_size));
        return AudioFrame{core->frame_size + more, core->details.sample_rate};
    }
    const size_t alone = extension_size(bytes);
    return alone > 0 ? std::optional(AudioFrame{alone, 0}) : std::nullopt;
}

// What the sync words inside an extension substream say it carries.
const char* extension_profile(std::span<const uint8_t> substream) {
    constexpr uint32_t kLossless = 0x41A29547;
    constexpr uint32_t kLowBitRate = 0x0A801921;
    constexpr std::array<uint32_t, 3> kHighResolution = {0x655E315E, 0x47004A03, 0x1D95F262};
    const char* profile = nullptr;
    for (size_t at = 0; at + 4 <= substream.size(); ++at) {
        const uint32_t word = load_be32(substream.subspan(at, 4));
        if (word == kLossless) return "DTS-HD MA";
        if (word == kLowBitRate) return "DTS Express";
        if (std::ranges::find(kHighResolution, word) != kHighResolution.end())
            profile = "DTS-HD HRA";
    }
    return profile;
}

const char* core_profile(const Core& core) {
    if (!core.extended) return "DTS";
    return core.extension_kind == 2 ? "DTS 96/24" : "DTS-ES";
}

}  // namespace

std::optional<AudioFacts> read_dts(std::span<const uint8_t> es) {
    const auto run = find_audio_frames(es, parse_frame);
    if (!run) return std::nullopt;
    auto rest = es.subspan(run->offset);
    AudioFacts facts;
    facts.codec = Codec::kDts;
    facts.frames = run->frames;
    facts.sure = facts.settled = run->sure();
    const char* profile = nullptr;
    if (const auto core = read_core(rest)) {
        facts.details = core->details;
        profile = core_profile(*core);
        rest = rest.subspan(std::min(core->frame_size, rest.size()));
    }
    const size_t extension = std::min(extension_size(rest), rest.size());
    if (extension > 0) {
        const char* name = extension_profile(rest.first(extension));
        profile = name != nullptr ? name : profile;
        facts.details.bit_rate_bps = 0;  // that of the core says nothing of the whole
    }
    if (profile != nullptr)
        snprintf(facts.details.profile, sizeof facts.details.profile, "%s", profile);
    return facts;
}

}  // namespace zv::survey
