// SPDX-License-Identifier: MIT
// Implementation of flv_times.h.
#include "flv/flv_times.h"

#include <cstdlib>
#include <utility>

namespace zvprobe {
namespace {

constexpr int64_t kRanges[] = {int64_t{1} << 31, int64_t{1} << 32};

// Closer than this to the wrap a stamp on its other side belongs there.
constexpr int64_t kNearWrap = 600'000;  // ms

// Pictures that change rarely may come seconds apart; sound and picture both silent for longer than
// this are a gap.
constexpr int64_t kLongestPause = 10'000;  // ms

}  // namespace

// Stamps from before a wrap may still come after it: audio and video take turns.
int64_t FlvTimes::time_of(uint64_t offset, uint32_t stamp) {
    const auto is_near = [this](int64_t time) { return std::abs(time - before_) <= kNearWrap; };
    if (!begun_ || is_near(base_ + stamp)) return base_ + stamp;
    if (is_near(former_base_ + stamp)) return former_base_ + stamp;
    for (const int64_t range : kRanges) {
        const int64_t time = base_ + range + stamp;
        if (!is_near(time)) continue;
        former_base_ = std::exchange(base_, base_ + range);
        ++wraps_;
        note(offset, FlvTimeStep::Kind::kWrap, before_ - former_base_, stamp);
        return time;
    }
    return base_ + stamp;
}

int64_t FlvTimes::latest_of_tracks() const {
    const auto& [audio, video] = orders_;
    if (!audio.begun) return video.time;
    return video.begun ? std::max(audio.time, video.time) : audio.time;
}

void FlvTimes::note(uint64_t offset, FlvTimeStep::Kind kind, int64_t from, int64_t to) {
    steps_.add({offset, kind, static_cast<uint32_t>(from), static_cast<uint32_t>(to)});
}

void FlvTimes::follow(Order& order, uint64_t offset, int64_t time) {
    const bool any = orders_[0].begun || orders_[1].begun;
    const int64_t latest = latest_of_tracks();
    if (any && time - latest > kLongestPause) {
        ++jumps_;
        note(offset, FlvTimeStep::Kind::kJump, latest - base_, time - base_);
    }
    if (order.begun) {
        const int64_t step = time - order.time;
        if (step < 0) {
            ++back_steps_;
            note(offset, FlvTimeStep::Kind::kBack, order.time - base_, time - base_);
        } else if (order.jumps == jumps_) {
            ++order.steps;
            order.sum += step;
        }
    }
    order.latest = order.begun ? std::max(order.latest, time) : time;
    order.begun = true;
    order.time = time;
    order.jumps = jumps_;
}

int64_t FlvTimes::add(Track track, uint64_t offset, uint32_t stamp) {
    const int64_t time = time_of(offset, stamp);
    if (track != Track::kBeside) follow(orders_[static_cast<size_t>(track)], offset, time);
    first_ = begun_ ? std::min(first_, time) : time;
    last_ = begun_ ? std::max(last_, time) : time;
    before_ = time;
    begun_ = true;
    return time;
}

double FlvTimes::duration() const {
    if (!begun_) return 0;
    double end = static_cast<double>(last_);
    for (const Order& order : orders_)
        if (order.begun) end = std::max(end, static_cast<double>(order.latest) + order.mean());
    return end - static_cast<double>(first_);
}

double FlvTimes::frame_rate(Track track) const {
    const double mean = orders_[static_cast<size_t>(track)].mean();
    return mean > 0 ? 1000 / mean : 0;
}

}  // namespace zvprobe
