// SPDX-License-Identifier: MIT
// The stream's own clock: which PID's PCRs tell the time, and when each byte comes. Between two PCRs
// of the clock time is linear in bytes. Times are in 27 MHz ticks from the first packet on.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace zv::survey {

constexpr double kPcrHz = 27e6;

// Times are doubles, worked out through rates: what is exactly at a limit may come out a little
// later, by more the longer the stream runs. A nanosecond, and twice the distance of two doubles of
// that size: 15 ns after a year.
// now_s  in  seconds from the first packet on
constexpr double rounding_s(double now_s) {
    return 1e-9 + now_s * 0x1p-51;
}

constexpr uint64_t kPcrRange = (uint64_t{1} << 33) * 300;
constexpr uint64_t kLongestPcrStep = 27'000'000;  // on by more than a second is a jump

// -> ticks modulo the range of a PCR; a division is for values that are hardly ever met
inline uint64_t wrap_pcr(uint64_t ticks) {
    if (ticks < kPcrRange) return ticks;
    return ticks < 2 * kPcrRange ? ticks - kPcrRange : ticks % kPcrRange;
}

// How a PCR follows the one before on its PID.
struct PcrStep {
    bool first = false;
    bool signalled = false;  // discontinuity_indicator
    uint64_t ticks = 0;      // on, modulo the range
    uint64_t bytes = 0;

    bool goes_back() const { return ticks > kPcrRange / 2; }
    bool jumps() const { return !first && !signalled && ticks > kLongestPcrStep; }
    bool sound() const { return !first && !signalled && ticks <= kLongestPcrStep; }
};

// A stretch of bytes over which time is linear.
struct TimeLine {
    uint64_t offset = 0;
    double ticks = 0;
    double ticks_per_byte = 0;

    double at(uint64_t place) const {
        const double bytes = place >= offset ? static_cast<double>(place - offset)
                                             : -static_cast<double>(offset - place);
        return ticks + bytes * ticks_per_byte;
    }
};

// Is the rate constant? The median of how far the intervals' rates are off the mean tells. The first
// intervals are kept; when there are more, all go into a histogram of 2^-11 of a rate a bin.
class RateSpread {
  public:
    static constexpr size_t kMostKept = 4096;

    void add(uint64_t bytes, uint64_t ticks);
    uint64_t count() const { return count_; }

    // -> is the median deviation from the mean below 0.5%? Nothing below 8 intervals, and while they
    // took no time.
    // intervals  in  the first so many; all once there is a histogram
    std::optional<bool> constant(uint64_t intervals) const;

    // -> of all intervals
    double bytes_per_tick() const {
        return static_cast<double>(bytes_) / static_cast<double>(ticks_);
    }
    bool took_time() const { return ticks_ > 0; }

  private:
    // Of the intervals up to one of those that are kept.
    struct SoFar {
        uint64_t bytes;
        uint64_t ticks;
        double least;  // of their rates
        double most;
    };
    struct Bin {
        uint32_t count = 0;
        float mean = 0;  // of its rates
    };

    void keep(double rate);
    void add_to_bins(double rate);
    bool constant_by_bins() const;

    std::vector<double> kept_;  // rates of the first intervals; none once there is a histogram
    std::vector<SoFar> so_far_;
    std::vector<Bin> bins_;  // from kFirstBin on
    uint64_t count_ = 0;
    uint64_t bytes_ = 0;
    uint64_t ticks_ = 0;
};

class Clock {
  public:
    // packet_size  in  bytes from one packet to the next
    // first        in  offset of the first packet, where time begins
    void begin(size_t packet_size, uint64_t first) {
        packet_size_ = packet_size;
        first_ = first;
    }

    // Takes a PCR. -> the line on which everything up to it lies, once it tells the time
    std::optional<TimeLine> see(uint16_t pid, uint64_t offset, const PcrStep& step);

    // -> the line on which what comes after the latest PCR lies: its rate goes on; nothing while no
    // rate is known
    std::optional<TimeLine> onward() const;

    // What lies before a place has had its times told, by onward(): they stay.
    void hold(uint64_t offset);

    std::optional<uint16_t> pid() const { return rate_known_ ? pid_ : std::nullopt; }
    std::optional<double> bit_rate_bps() const;
    std::optional<bool> constant_rate() const { return constant_rate_after(intervals()); }

    // -> how many sound intervals there were, and what they said when there were so many
    uint64_t intervals() const { return spread_.count(); }
    std::optional<bool> constant_rate_after(uint64_t intervals) const {
        return spread_.constant(intervals);
    }
    double ticks_per_byte() const { return ticks_per_byte_; }
    bool rate_known() const { return rate_known_; }

  private:
    std::optional<TimeLine> own_pcr(uint64_t offset, const PcrStep& step);
    std::optional<TimeLine> other_pcr(uint16_t pid, uint64_t offset, const PcrStep& step);
    TimeLine line_to(uint64_t offset, double ticks);

    size_t packet_size_ = 0;
    uint64_t first_ = 0;
    std::optional<uint16_t> pid_;
    bool rate_known_ = false;
    double ticks_per_byte_ = 0;  // of the latest interval
    uint64_t pcr_offset_ = 0;    // the clock's latest PCR
    double pcr_ticks_ = 0;
    uint64_t told_offset_ = 0;  // up to here times are told
    double told_ticks_ = 0;
    RateSpread spread_;
};

}  // namespace zv::survey
