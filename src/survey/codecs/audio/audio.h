// SPDX-License-Identifier: MIT
// The parsers of audio formats. Each reads the first bytes of a stream and tells what it found
// there and how sure that is.
#pragma once

#include "survey/codecs/codec.h"

namespace zv::survey {

struct AudioFacts {
    Codec codec = Codec::kUnknown;
    AudioDetails details;
    size_t frames = 0;     // that follow one another, as far as they were counted
    bool sure = false;     // more than one sync word, and not by chance
    bool settled = false;  // more bytes would tell nothing more
};

// -> nothing when no frame of the format is found
std::optional<AudioFacts> read_mpeg_audio(std::span<const uint8_t> es);
std::optional<AudioFacts> read_adts(std::span<const uint8_t> es);
std::optional<AudioFacts> read_loas(std::span<const uint8_t> es);
std::optional<AudioFacts> read_ac3(std::span<const uint8_t> es);  // and E-AC-3
std::optional<AudioFacts> read_ac4(std::span<const uint8_t> es);
std::optional<AudioFacts> read_dts(std::span<const uint8_t> es);
std::optional<AudioFacts> read_truehd(std::span<const uint8_t> es);
std::optional<AudioFacts> read_s302m(std::span<const uint8_t> es);

// What the descriptors of an Opus or AC-4 stream say of its channels, 0 unknown.
uint8_t opus_channels(std::span<const uint8_t> descriptors);
uint8_t ac4_channels(std::span<const uint8_t> descriptors);

}  // namespace zv::survey
