// SPDX-License-Identifier: MIT
// Implementation of clock.h.
#include "survey/time/clock.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <span>
#include <utility>

namespace zv::survey {
namespace {

constexpr double kBitsPerPacket = 1504;
constexpr double kConstantRateDeviation = 0.005;
constexpr uint64_t kFewestIntervals = 8;

// A bin has the rates whose float has the same leading bits: sign, exponent, 11 of the mantissa.
constexpr unsigned kDroppedBits = 12;
constexpr float kLowestRate = 1e-9F;  // bytes per tick; what is beyond counts as the bound
constexpr float kHighestRate = 1e5F;

constexpr uint32_t bin_of(float rate) {
    return std::bit_cast<uint32_t>(std::clamp(rate, kLowestRate, kHighestRate)) >> kDroppedBits;
}

constexpr uint32_t kFirstBin = bin_of(kLowestRate);

double rate_of(uint64_t bytes, uint64_t ticks) {
    return static_cast<double>(bytes) / static_cast<double>(ticks);
}

double deviation_of(double rate, double mean) {
    return std::abs(rate / mean - 1);
}

// Which rates are near the mean. Only what rounding could change is divided for.
class Nearness {
  public:
    explicit Nearness(double mean)
        : mean_(mean),
          surely_near_(mean * kConstantRateDeviation * (1 - 1e-9)),
          surely_far_(mean * kConstantRateDeviation * (1 + 1e-9)) {}

    bool is_sure(double rate) const { return std::abs(rate - mean_) < surely_near_; }
    bool is_near(double rate) const {
        const double off = std::abs(rate - mean_);
        if (off < surely_near_ || off > surely_far_) return off < surely_near_;
        return deviation_of(rate, mean_) < kConstantRateDeviation;
    }

  private:
    double mean_;
    double surely_near_;
    double surely_far_;
};

}  // namespace

void RateSpread::add(uint64_t bytes, uint64_t ticks) {
    bytes_ += bytes;
    ticks_ += ticks;
    const double rate = rate_of(bytes, ticks);
    if (count_++ < kMostKept) return keep(rate);
    so_far_ = std::vector<SoFar>();
    for (const double kept : std::exchange(kept_, {}))
        add_to_bins(kept);
    add_to_bins(rate);
}

void RateSpread::keep(double rate) {
    SoFar now = {bytes_, ticks_, rate, rate};
    if (!so_far_.empty()) {
        now.least = std::min(now.least, so_far_.back().least);
        now.most = std::max(now.most, so_far_.back().most);
    }
    so_far_.push_back(now);
    kept_.push_back(rate);  // the last: where memory runs out, none is without its sums
}

void RateSpread::add_to_bins(double interval_rate) {
    const float rate = std::clamp(static_cast<float>(interval_rate), kLowestRate, kHighestRate);
    const size_t bin = bin_of(rate) - kFirstBin;
    if (bins_.size() <= bin) bins_.resize(bin + 1);
    Bin& at = bins_[bin];
    at.mean += (rate - at.mean) / static_cast<float>(++at.count);
}

std::optional<bool> RateSpread::constant(uint64_t intervals) const {
    if (intervals < kFewestIntervals || ticks_ == 0) return std::nullopt;
    if (!bins_.empty()) return constant_by_bins();
    const auto first = std::span(kept_).first(std::min<size_t>(intervals, kept_.size()));
    if (first.empty()) return std::nullopt;  // memory ran out on the way to the histogram
    const SoFar& so_far = so_far_[first.size() - 1];
    if (so_far.ticks == 0) return std::nullopt;
    const double mean = rate_of(so_far.bytes, so_far.ticks);
    const Nearness nearness(mean);
    if (nearness.is_sure(so_far.least) && nearness.is_sure(so_far.most)) return true;
    size_t near = 0;
    for (const double rate : first)
        near += nearness.is_near(rate);
    if (2 * near != first.size()) return 2 * near > first.size();
    double farthest_near = 0;
    double nearest_far = std::numeric_limits<double>::infinity();
    for (const double rate : first) {
        const double deviation = deviation_of(rate, mean);
        if (deviation < kConstantRateDeviation)
            farthest_near = std::max(farthest_near, deviation);
        else
            nearest_far = std::min(nearest_far, deviation);
    }
    return (farthest_near + nearest_far) / 2 < kConstantRateDeviation;
}

bool RateSpread::constant_by_bins() const {
    const double mean = bytes_per_tick();
    const size_t first =
        bin_of(static_cast<float>(mean * (1 - kConstantRateDeviation))) - kFirstBin;
    const size_t last = bin_of(static_cast<float>(mean * (1 + kConstantRateDeviation))) - kFirstBin;
    uint64_t near = 0;
    for (size_t bin = first; bin <= last && bin < bins_.size(); ++bin) {
        const double deviation = deviation_of(static_cast<double>(bins_[bin].mean), mean);
        if (deviation < kConstantRateDeviation) near += bins_[bin].count;
    }
    return 2 * near > count_;
}

std::optional<double> Clock::bit_rate_bps() const {
    if (!spread_.took_time()) return std::nullopt;
    const double packets_per_tick = spread_.bytes_per_tick() / static_cast<double>(packet_size_);
    return packets_per_tick * kBitsPerPacket * kPcrHz;
}

std::optional<TimeLine> Clock::see(uint16_t pid, uint64_t offset, const PcrStep& step) {
    if (step.first) return std::nullopt;
    if (!pid_) pid_ = pid;
    return pid == *pid_ ? own_pcr(offset, step) : other_pcr(pid, offset, step);
}

std::optional<TimeLine> Clock::own_pcr(uint64_t offset, const PcrStep& step) {
    if (step.sound()) {
        ticks_per_byte_ = static_cast<double>(step.ticks) / static_cast<double>(step.bytes);
        spread_.add(step.bytes, step.ticks);
    }
    // An interval of no time tells no rate; later ones do.
    if (!rate_known_ && ticks_per_byte_ == 0) return std::nullopt;
    if (!rate_known_) {
        // What came before runs at the rate of the first sound interval.
        rate_known_ = true;
        pcr_offset_ = told_offset_ = first_;
        return line_to(offset, TimeLine{first_, 0, ticks_per_byte_}.at(offset));
    }
    const double on = step.sound() ? static_cast<double>(step.ticks)
                                   : static_cast<double>(step.bytes) * ticks_per_byte_;
    return line_to(offset, pcr_ticks_ + on);
}

// When no PCR of the clock came for a second by its last rate, another PID becomes the clock.
std::optional<TimeLine> Clock::other_pcr(uint16_t pid, uint64_t offset, const PcrStep& step) {
    if (!rate_known_) return std::nullopt;
    const double now = onward()->at(offset);
    if (now - pcr_ticks_ <= kPcrHz * (1 + rounding_s(now / kPcrHz))) return std::nullopt;
    pid_ = pid;
    if (step.sound())
        ticks_per_byte_ = static_cast<double>(step.ticks) / static_cast<double>(step.bytes);
    return line_to(offset, now);
}

// Moves the clock's latest PCR to a place. -> the line from what has been told to there
TimeLine Clock::line_to(uint64_t offset, double ticks) {
    TimeLine line = {told_offset_, told_ticks_, 0};
    ticks = std::max(ticks, told_ticks_);
    if (offset > told_offset_)
        line.ticks_per_byte = (ticks - told_ticks_) / static_cast<double>(offset - told_offset_);
    pcr_offset_ = told_offset_ = offset;
    pcr_ticks_ = told_ticks_ = ticks;
    return line;
}

std::optional<TimeLine> Clock::onward() const {
    if (!rate_known_) return std::nullopt;
    return TimeLine{pcr_offset_, pcr_ticks_, ticks_per_byte_};
}

void Clock::hold(uint64_t offset) {
    told_ticks_ = onward()->at(offset);
    told_offset_ = offset;
}

}  // namespace zv::survey
