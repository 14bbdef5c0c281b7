// SPDX-License-Identifier: MIT
// Implementation of audio_frames.h.
#include "survey/codecs/audio/audio_frames.h"

namespace zv::survey {
namespace {

// -> frames from there on; 0 when something else follows one of them
size_t count_frames(std::span<const uint8_t> bytes, AudioFrame first, ParseAudioFrame parse) {
    size_t frames = 1;
    AudioFrame last = first;
    while (frames < AudioFrameRun::kMaxCounted && last.size < bytes.size()) {
        bytes = bytes.subspan(last.size);
        const auto next = parse(bytes);
        if (!next) return bytes.size() < kAudioHeaderRoom ? frames : 0;
        if (next->identity != first.identity) return 0;
        last = *next;
        ++frames;
    }
    return frames;
}

}  // namespace

std::optional<AudioFrameRun> find_audio_frames(std::span<const uint8_t> es, ParseAudioFrame parse) {
    for (size_t at = 0; at < es.size(); ++at) {
        const auto bytes = es.subspan(at);
        const auto first = parse(bytes);
        if (!first) continue;
        const size_t frames = count_frames(bytes, *first, parse);
        if (frames == AudioFrameRun::kMaxCounted || (frames > 0 && at == 0))
            return AudioFrameRun{at, frames};
    }
    return std::nullopt;
}

}  // namespace zv::survey
