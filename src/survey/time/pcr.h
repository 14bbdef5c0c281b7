// SPDX-License-Identifier: MIT
// The PCRs of one PID: how each follows the one before, how far each is off a straight line, and how
// fast they run against the clock.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "survey/time/clock.h"
#include "survey/time/extremes.h"

namespace zv::survey {

// The values, as they come.
class PcrValues {
  public:
    // Takes a PCR. -> how it follows the one before
    PcrStep add(uint64_t value, uint64_t offset, bool signalled);

    uint64_t count() const { return count_; }
    uint64_t jumps() const { return jumps_; }
    uint64_t signalled() const { return signalled_; }
    const Extremes& intervals_ticks() const { return intervals_; }
    uint64_t last_value() const { return last_value_; }

  private:
    uint64_t count_ = 0;
    uint64_t jumps_ = 0;
    uint64_t signalled_ = 0;
    uint64_t last_value_ = 0;
    uint64_t last_offset_ = 0;
    Extremes intervals_;
};

// A least-squares line through points that come one by one, by their running means.
class FittedLine {
  public:
    void add(double x, double y) {
        count_ += 1;
        const double dx = x - mean_x_;
        mean_x_ += dx / count_;
        mean_y_ += (y - mean_y_) / count_;
        sum_xx_ += dx * (x - mean_x_);
        sum_xy_ += dx * (y - mean_y_);
    }
    double count() const { return count_; }
    double slope() const { return sum_xx_ > 0 ? sum_xy_ / sum_xx_ : 0; }
    double at(double x) const { return mean_y_ + (x - mean_x_) * slope(); }

  private:
    double count_ = 0, mean_x_ = 0, mean_y_ = 0, sum_xx_ = 0, sum_xy_ = 0;
};

// Accuracy and drift at constant rate (ETSI TR 101 290, annex I, for one PID).
class PcrLine {
  public:
    static constexpr size_t kBlock = 64;  // PCRs that are compared with one line
    static constexpr size_t kFewest = 8;  // of the last block of a run, and for the drift

    struct Point {
        uint64_t offset;
        double time_s;   // when it came
        uint32_t ticks;  // PCR, unwrapped, from the first of the block on: 64 seconds at most
    };

    // Takes a PCR. When a block is full, or a run ends before this PCR, the block is judged:
    // judge(point, deviation_ns) is called for each of its points.
    // losses  in  how often packets were lost so far, of any PID
    template <typename Judge>
    void add(const PcrStep& step, uint64_t offset, double time_s, uint64_t losses, Judge judge) {
        if (all_.count() > 0 && losses != losses_) broken_ = true;
        losses_ = losses;
        if (!step.first && !step.sound()) {
            broken_ = true;
            end_run(judge);
        }
        block_ticks_ = block_size_ == 0 ? 0 : block_ticks_ + static_cast<uint32_t>(step.ticks);
        add_to_all(step, time_s);
        block_[block_size_++] = {offset, time_s, block_ticks_};
        if (block_size_ == kBlock) judge_block(judge);
    }

    // Packets were lost, or the stream ends.
    template <typename Judge>
    void end_run(Judge judge) {
        if (block_size_ >= kFewest) judge_block(judge);
        block_size_ = 0;
    }

    // -> how fast the PCRs run by the clock, 1 when they keep time; nothing when they are no line
    std::optional<double> speed() const {
        if (broken_ || all_.count() < kFewest) return std::nullopt;
        return all_.slope() / kPcrHz;
    }

  private:
    void add_to_all(const PcrStep& step, double time_s) {
        if (all_.count() == 0)
            first_s_ = time_s;
        else
            all_ticks_ += static_cast<double>(step.ticks);
        all_.add(time_s - first_s_, all_ticks_);
    }

    template <typename Judge>
    void judge_block(Judge judge) {
        FittedLine line;
        const uint64_t origin = block_[0].offset;
        for (size_t i = 0; i < block_size_; ++i)
            line.add(static_cast<double>(block_[i].offset - origin), block_[i].ticks);
        for (size_t i = 0; i < block_size_; ++i) {
            const double fitted = line.at(static_cast<double>(block_[i].offset - origin));
            judge(block_[i], (block_[i].ticks - fitted) * 1e9 / kPcrHz);
        }
        block_size_ = 0;
    }

    std::array<Point, kBlock> block_;
    size_t block_size_ = 0;
    uint32_t block_ticks_ = 0;
    FittedLine all_;
    double first_s_ = 0;
    double all_ticks_ = 0;
    uint64_t losses_ = 0;  // as it was at the latest PCR
    bool broken_ = false;  // a jump, a signal or a loss among the PCRs
};

}  // namespace zv::survey
