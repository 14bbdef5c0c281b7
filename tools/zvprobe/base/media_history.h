// SPDX-License-Identifier: MIT
// How frames came in the course of time: at most 600 steps, whatever the length. When the steps are
// full, two become one and each is twice as long.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace zvprobe {

// The frames of one track in one step.
struct MediaStep {
    uint64_t bytes = 0;
    uint64_t frames = 0;
    uint64_t key_frames = 0;
    uint64_t smallest = std::numeric_limits<uint64_t>::max();  // frame, bytes
    uint64_t largest = 0;
    int64_t shortest_ms = std::numeric_limits<int64_t>::max();  // from one frame to the next
    int64_t longest_ms = std::numeric_limits<int64_t>::min();

    bool has_interval() const { return shortest_ms <= longest_ms; }
    void add(const MediaStep& other);
};

class MediaHistory {
  public:
    enum Track : size_t { kVideo, kAudio, kTracks };
    using Steps = std::vector<std::array<MediaStep, kTracks>>;

    static constexpr size_t kMostSteps = 600;
    static constexpr int64_t kShortestStep_ms = 100;

    // time_ms  of the frame; times before that of the first frame count for the first step
    void add(Track track, int64_t time_ms, uint64_t bytes, bool key_frame);

    const Steps& steps() const { return steps_; }
    int64_t start_ms() const { return start_ms_; }
    int64_t step_ms() const { return step_ms_; }
    uint64_t frames(Track track) const { return frames_[track]; }

    // -> that of the last frame, of whatever track; that of the first step before any
    int64_t now_ms() const { return now_ms_; }

  private:
    MediaStep& step_at(Track track, int64_t time_ms);
    void fold();

    Steps steps_;
    int64_t start_ms_ = 0;
    int64_t step_ms_ = kShortestStep_ms;
    int64_t now_ms_ = 0;
    std::array<int64_t, kTracks> last_ms_ = {};
    std::array<uint64_t, kTracks> frames_ = {};
};

}  // namespace zvprobe
