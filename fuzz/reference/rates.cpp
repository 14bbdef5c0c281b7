// SPDX-License-Identifier: MIT
// Implementation of rates.h. The intervals so far are kept in the order of their
// rates: those next to the common rate are then side by side.
#include "rates.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <numeric>

namespace fuzz::reference {
namespace {

constexpr size_t kFewestIntervals = 8;
constexpr double kMaxMedianDeviation = 0.005;

}  // namespace

ConstantRate::ConstantRate(const std::vector<Interval>& intervals, double packet_size)
    : intervals_(intervals),
      packet_size_(packet_size),
      ranks_(intervals.size()),
      tree_(intervals.size() + 1) {
    std::vector<size_t> order(intervals.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::ranges::stable_sort(order, {}, [&](size_t i) { return rate(intervals[i].pace); });
    for (const size_t i : order) {
        ranks_[i] = sorted_.size();
        sorted_.push_back(rate(intervals[i].pace));
    }
}

double ConstantRate::rate(const Pace& pace) const {
    if (pace.ticks == 0) return std::numeric_limits<double>::infinity();
    return static_cast<double>(pace.bytes) / packet_size_ * kBitsPerPacket *
           static_cast<double>(kTicksPerSecond) / static_cast<double>(pace.ticks);
}

bool ConstantRate::add_next() {
    if (added_ == intervals_.size()) return false;
    sum_.ticks += intervals_[added_].pace.ticks;
    sum_.bytes += intervals_[added_].pace.bytes;
    for (size_t i = ranks_[added_] + 1; i < tree_.size(); i += i & (~i + 1))
        ++tree_[i];
    ++added_;
    return true;
}

std::optional<double> ConstantRate::bit_rate() const {
    if (sum_.ticks == 0) return std::nullopt;
    return rate(sum_);
}

// The n-th lowest rate so far, from 0.
double ConstantRate::nth_rate(size_t n) const {
    size_t at = 0;
    for (size_t step = std::bit_floor(tree_.size()); step > 0; step /= 2) {
        if (at + step >= tree_.size() || tree_[at + step] > n) continue;
        at += step;
        n -= tree_[at];
    }
    return sorted_[at];
}

// The n-th lowest distance from the common rate, from 1: the n nearest rates are neighbours, and
// the first of them is searched for.
double ConstantRate::nth_deviation(double bit_rate, size_t n) const {
    size_t low = 0, high = added_ - n;
    while (low < high) {
        const size_t middle = (low + high) / 2;
        if (bit_rate - nth_rate(middle) > nth_rate(middle + n) - bit_rate) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    const double below = std::abs(bit_rate - nth_rate(low));
    const double above = std::abs(nth_rate(low + n - 1) - bit_rate);
    return std::max(below, above) / bit_rate;
}

std::optional<double> ConstantRate::median() const {
    const auto common = bit_rate();
    if (added_ < kFewestIntervals || !common) return std::nullopt;
    const double lower = nth_deviation(*common, (added_ + 1) / 2);
    const double upper = nth_deviation(*common, added_ / 2 + 1);
    return (lower + upper) / 2;
}

std::optional<bool> ConstantRate::verdict() const {
    const auto deviation = median();
    return deviation ? std::optional(*deviation < kMaxMedianDeviation) : std::nullopt;
}

bool ConstantRate::is_close() const {
    return std::abs(median().value_or(0) - kMaxMedianDeviation) < 1e-9;
}

}  // namespace fuzz::reference
