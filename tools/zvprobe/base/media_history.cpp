// SPDX-License-Identifier: MIT
// Implementation of media_history.h.
#include "base/media_history.h"

#include <algorithm>

namespace zvprobe {

void MediaStep::add(const MediaStep& other) {
    bytes += other.bytes;
    frames += other.frames;
    key_frames += other.key_frames;
    smallest = std::min(smallest, other.smallest);
    largest = std::max(largest, other.largest);
    shortest_ms = std::min(shortest_ms, other.shortest_ms);
    longest_ms = std::max(longest_ms, other.longest_ms);
}

void MediaHistory::add(Track track, int64_t time_ms, uint64_t bytes, bool key_frame) {
    MediaStep frame = {bytes, 1, key_frame ? 1u : 0u, bytes, bytes};
    if (frames_[track]++ > 0) frame.shortest_ms = frame.longest_ms = time_ms - last_ms_[track];
    last_ms_[track] = now_ms_ = time_ms;
    step_at(track, time_ms).add(frame);
}

MediaStep& MediaHistory::step_at(Track track, int64_t time_ms) {
    if (steps_.empty()) start_ms_ = time_ms;
    const int64_t since = std::max<int64_t>(time_ms - start_ms_, 0);
    while (since / step_ms_ >= static_cast<int64_t>(kMostSteps))
        fold();
    const auto index = static_cast<size_t>(since / step_ms_);
    if (index >= steps_.size()) steps_.resize(index + 1);
    return steps_[index][track];
}

void MediaHistory::fold() {
    const size_t left = (steps_.size() + 1) / 2;
    for (size_t i = 0; i < left; ++i) {
        auto pair = steps_[2 * i];
        for (size_t track = 0; track < kTracks && 2 * i + 1 < steps_.size(); ++track)
            pair[track].add(steps_[2 * i + 1][track]);
        steps_[i] = pair;
    }
    steps_.resize(left);
    step_ms_ *= 2;
}

}  // namespace zvprobe
