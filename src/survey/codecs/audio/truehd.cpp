// SPDX-License-Identifier: MIT
// TrueHD: the major sync of an access unit. The AC-3 frames that go with it in the same stream on
// discs are passed over.
#include <array>

#include "bitStream/big_endian.h"
#include "survey/codecs/audio/audio.h"
#include "survey/codecs/audio/audio_frames.h"
#include "survey/codecs/bit_reader.h"

namespace zv::survey {
namespace {

constexpr size_t kMajorSync = 14;  // bytes from the sync word to the signature and the rate

uint32_t sample_rate(uint32_t code) {
    constexpr uint32_t kInvalid = 15;
    if (code == kInvalid || (code & 7) > 2) return 0;
    return ((code & 8) != 0 ? 44100u : 48000u) << (code & 7);
}

uint8_t count_channels(uint32_t assignment) {
    // By bit, the lowest first: pairs and single channels.
    constexpr std::array<uint8_t, 13> kCounts = {2, 1, 1, 2, 2, 2, 2, 1, 1, 2, 2, 1, 1};
    uint8_t channels = 0;
    for (size_t i = 0; i < kCounts.size(); ++i)
        if ((assignment >> i & 1) != 0) channels = static_cast<uint8_t>(channels + kCounts[i]);
    return channels;
}

std::optional<AudioDetails> read_major_sync(std::span<const uint8_t> bytes) {
    constexpr uint32_t kSyncWord = 0xF8726FBA;
    constexpr uint32_t kSignature = 0xB752;
    if (load_be32(bytes) != kSyncWord || load_be16(bytes.subspan(8)) != kSignature)
        return std::nullopt;
    BitReader reader(bytes.subspan(4));
    AudioDetails details;
    details.sample_rate = sample_rate(reader.bits(4));
    reader.skip(4 + 2 + 2);  // presentation types, reserved, modifiers
    const uint32_t six_channel = reader.bits(5);
    reader.skip(2);  // modifier of the presentation of eight channels
    const uint32_t eight_channel = reader.bits(13);
    details.channels = count_channels(eight_channel != 0 ? eight_channel : six_channel);
    return details.sample_rate == 0 ? std::nullopt : std::optional(details);
}

}  // namespace

std::optional<AudioFacts> read_truehd(std::span<const uint8_t> es) {
    for (size_t at = 0; at + kMajorSync <= es.size(); ++at) {
        if (es[at] != 0xF8) continue;
        const auto details = read_major_sync(es.subspan(at, kMajorSync));
        if (!details) continue;
        AudioFacts facts;
        facts.codec = Codec::kTrueHd;
        facts.details = *details;
        facts.frames = AudioFrameRun::kMaxCounted;  // 48 bits of sync and signature leave no doubt
        facts.sure = facts.settled = true;
        return facts;
    }
    return std::nullopt;
}

}  // namespace zv::survey
