// SPDX-License-Identifier: MIT
// The smallest, the largest and the mean of values that come one by one.
#pragma once

#include <algorithm>
#include <cstdint>

namespace zv::survey {

class Extremes {
  public:
    void add(double value) {
        least_ = count_ == 0 ? value : std::min(least_, value);
        most_ = count_ == 0 ? value : std::max(most_, value);
        sum_ += value;
        ++count_;
    }

    bool empty() const { return count_ == 0; }
    double least() const { return least_; }
    double most() const { return most_; }
    double mean() const { return sum_ / static_cast<double>(count_); }

  private:
    uint64_t count_ = 0;
    double least_ = 0, most_ = 0, sum_ = 0;
};

}  // namespace zv::survey
