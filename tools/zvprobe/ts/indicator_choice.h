// SPDX-License-Identifier: MIT
// Which indicators of ETSI TR 101 290 count as errors for --strict.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zvprobe {

class IndicatorChoice {
  public:
    // None.
    IndicatorChoice() = default;

    // list: priorities and ids, such as "1,2.3,3.4.a"; "2.3" stands for 2.3.a and 2.3.b.
    // Throws UsageError.
    explicit IndicatorChoice(const std::string& list);

    // -> true for an id that one of them stands for
    bool has(std::string_view id) const;

  private:
    std::vector<std::string> chosen_;
};

}  // namespace zvprobe
