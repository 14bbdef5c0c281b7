// SPDX-License-Identifier: MIT
// Third pass of the reference survey: the time of every byte by the stream's own clock, and how
// exact the PCRs are.
#pragma once

#include <optional>
#include <vector>

#include "packets.h"

namespace fuzz::reference {

// Ticks of 27 MHz for so many bytes.
struct Pace {
    uint64_t ticks = 0;
    uint64_t bytes = 0;

    double ticks_for(double count) const {
        return count * static_cast<double>(ticks) / static_cast<double>(bytes);
    }
};

// A sound interval of the clock.
struct Interval {
    uint64_t end_offset;
    Pace pace;
};

class Clock {
  public:
    Clock(const Framing& framing, const Pids& pids);

    bool known() const { return known_; }
    uint16_t pid() const { return pid_; }
    double bit_rate() const { return bit_rate_; }
    std::optional<bool> constant_rate() const { return constant_rate_; }
    double duration_s() const { return duration_s_; }
    const std::vector<Interval>& intervals() const { return intervals_; }
    double packet_size() const { return packet_size_; }

    // From the first packet on, in ticks of 27 MHz.
    double ticks_at(uint64_t offset) const;
    double seconds_at(uint64_t offset) const {
        return ticks_at(offset) / static_cast<double>(kTicksPerSecond);
    }

  private:
    // A straight piece of the line from bytes to time.
    struct Segment {
        uint64_t from, to;
        std::optional<Pace> pace;  // none: that of the next segment with one
        double start = 0;
    };

    void add_interval(uint64_t from, const Pcr& to);
    void follow(uint16_t pid, const Pcr& before, const Pcr& pcr);
    void lay_out(uint64_t zero);

    bool known_ = false;
    bool following_ = false;
    uint16_t pid_ = 0;
    double packet_size_;
    double bit_rate_ = 0;
    double duration_s_ = 0;
    double zero_ = 0;
    std::optional<bool> constant_rate_;
    std::optional<Pace> pace_;  // the last rate
    std::vector<Segment> segments_;
    std::vector<Interval> intervals_;
};

struct Range {
    double min, max;
};

struct Accuracy {
    std::optional<Range> ns;
    std::vector<uint64_t> wrong;  // offsets of PCRs off by more than the limit
};

constexpr double kPcrAccuracyLimitNs = 500;

// Deviations from a straight line, in blocks; none without a constant rate.
std::map<uint16_t, Accuracy> measure_accuracy(const Framing& framing, const Pids& pids,
                                              const Clock& clock);

// Where packets were lost, ascending.
std::vector<uint64_t> places_of_losses(const Framing& framing);
std::optional<double> drift_ppm(const std::vector<uint64_t>& losses, const PidFacts& facts,
                                const Clock& clock);

}  // namespace fuzz::reference
