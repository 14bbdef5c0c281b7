// SPDX-License-Identifier: MIT
// The sources of `probe` one by one: those of the command line, then those of a list.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "io/name_list.h"

namespace zvprobe {

struct NamedSource {
    size_t index;  // of all, from 0 and in the order given
    std::string name;
};

class SourceNames {
  public:
    // list: the path of one, "-" for standard input, empty for none. `given` must live as long.
    // Throws SourceError.
    SourceNames(const std::vector<std::string>& given, const std::string& list, char separator);

    // -> nothing at the end, at an error of the list and when interrupted
    std::optional<NamedSource> next() noexcept;

    // -> why the list ended early; empty when it did not
    const std::string& error() const { return error_; }

  private:
    std::optional<std::string> next_name();

    const std::vector<std::string>& given_;
    std::optional<NameList> list_;
    size_t index_ = 0;
    std::string error_;
};

}  // namespace zvprobe
