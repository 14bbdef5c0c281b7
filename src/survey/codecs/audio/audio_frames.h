// SPDX-License-Identifier: MIT
// Frames that follow one another: the way to be sure of a sync word that audio data may imitate.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace zv::survey {

struct AudioFrame {
    size_t size;        // bytes, more than 0
    uint32_t identity;  // equal for frames of one stream
};
// Is asked at every byte: refuses at the first one that does not fit.
using ParseAudioFrame = std::optional<AudioFrame> (*)(std::span<const uint8_t> bytes);

struct AudioFrameRun {
    size_t offset;  // of the first frame
    size_t frames;  // 1 to kMaxCounted
    static constexpr size_t kMaxCounted = 3;
    bool sure() const { return frames > 1; }
};

// No header of a frame needs more bytes: where fewer are left, it may only be cut off.
constexpr size_t kAudioHeaderRoom = 64;

// -> the bytes that a header may have
inline std::span<const uint8_t> header_room(std::span<const uint8_t> bytes) {
    return bytes.first(std::min(bytes.size(), kAudioHeaderRoom));
}

// The first place from which kMaxCounted frames follow one another; at the very beginning of the
// bytes fewer will do when these end. Inside of other data even two headers of short sync words
// may stand in the right places by chance.
std::optional<AudioFrameRun> find_audio_frames(std::span<const uint8_t> es, ParseAudioFrame parse);

}  // namespace zv::survey
