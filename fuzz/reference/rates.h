// SPDX-License-Identifier: MIT
// The reference survey's verdict on constant rate: the median deviation of the clock's intervals
// from their common rate, after each interval.
#pragma once

#include <optional>
#include <vector>

#include "clock.h"

namespace fuzz::reference {

constexpr double kBitsPerPacket = 1504;  // 188 bytes, whatever stands around them

class ConstantRate {
  public:
    ConstantRate(const std::vector<Interval>& intervals, double packet_size);

    // Takes one more interval. -> false when there is none
    bool add_next();
    size_t count() const { return added_; }

    std::optional<double> bit_rate() const;
    std::optional<bool> verdict() const;
    bool is_close() const;  // the verdict, so that rounding decides

  private:
    double rate(const Pace& pace) const;
    std::optional<double> median() const;
    double nth_rate(size_t n) const;
    double nth_deviation(double bit_rate, size_t n) const;

    const std::vector<Interval>& intervals_;
    double packet_size_;
    size_t added_ = 0;
    Pace sum_;
    std::vector<double> sorted_;  // the rates of all intervals
    std::vector<size_t> ranks_;   // of each interval in it
    std::vector<size_t> tree_;    // how many of them are added, as a binary indexed tree
};

}  // namespace fuzz::reference
