// SPDX-License-Identifier: MIT
// Continuity of the table PIDs. The library counts it too, but reports it in its log only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "ts_report.h"

namespace zvprobe {

// Which PIDs carry PMTs is known only later, so every PID is counted.
class TableWatch {
  public:
    TableWatch();

    // Looks at the headers of whole packets.
    void see(std::span<const uint8_t> packets, size_t packet_size);

    TableContinuity continuity(std::span<const StreamInfoProgram> programs) const;

  private:
    std::vector<CCState> by_pid_;
};

}  // namespace zvprobe
