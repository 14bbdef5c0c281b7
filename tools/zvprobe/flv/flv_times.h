// SPDX-License-Identifier: MIT
// The time stamps of the frames: 32 bits of milliseconds made a time that goes on, where they step
// back, jump or wrap, and how long the stream is.
#pragma once

#include <algorithm>
#include <cstdint>

#include "base/capped_list.h"

namespace zvprobe {

struct FlvTimeStep {
    enum class Kind : uint8_t {
        kBack,  // before the last frame of the same track
        kJump,  // more than ten seconds after all frames before
        kWrap,  // from the largest stamp to 0, which is no gap: of 32 bits, or of the 31 that
                // writers fill who take stamps for signed
    };

    uint64_t offset;  // of the tag
    Kind kind;
    uint32_t from;  // ms, as the stamps stand
    uint32_t to;
};

class FlvTimes {
  public:
    // Tracks whose frames are to be in order; those beside them are not compared.
    enum class Track : uint8_t { kAudio = 0, kVideo = 1, kBeside = 2 };

    // Takes the stamp of a frame. -> the time it stands for, in ms from that of the first stamp 0
    int64_t add(Track track, uint64_t offset, uint32_t stamp);

    bool empty() const { return !begun_; }
    // ms, the time of the earliest and the latest frame
    int64_t first() const { return first_; }
    int64_t last() const { return last_; }

    // -> ms from the earliest frame to the end of the last one, which takes as long as the others of
    //    its track on average
    double duration() const;

    // -> frames of the track per second, without gaps and steps back; 0 when there are too few
    double frame_rate(Track track) const;

    const CappedList<FlvTimeStep>& steps() const { return steps_; }
    uint64_t back_steps() const { return back_steps_; }
    uint64_t jumps() const { return jumps_; }
    uint64_t wraps() const { return wraps_; }

  private:
    struct Order {
        bool begun = false;
        int64_t time = 0;    // of the last frame
        int64_t latest = 0;  // of all frames
        uint64_t jumps = 0;  // of the stream, up to the last frame
        uint64_t steps = 0;  // forward ones
        int64_t sum = 0;     // of these, ms
        double mean() const {
            return steps == 0 ? 0 : static_cast<double>(sum) / static_cast<double>(steps);
        }
    };

    int64_t time_of(uint64_t offset, uint32_t stamp);
    int64_t latest_of_tracks() const;
    void note(uint64_t offset, FlvTimeStep::Kind kind, int64_t from, int64_t to);
    void follow(Order& order, uint64_t offset, int64_t time);

    Order orders_[2];
    bool begun_ = false;
    int64_t base_ = 0;
    int64_t former_base_ = 0;  // before the last wrap
    int64_t before_ = 0;       // time of the last frame of any track
    int64_t first_ = 0;
    int64_t last_ = 0;
    uint64_t back_steps_ = 0;
    uint64_t jumps_ = 0;
    uint64_t wraps_ = 0;
    CappedList<FlvTimeStep> steps_;
};

}  // namespace zvprobe
