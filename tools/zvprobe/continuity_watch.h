// SPDX-License-Identifier: MIT
// The tool's own look at continuity counters (ISO/IEC 13818-1, 2.4.3.3): where the library counts
// errors of known streams, this tells the places, and it looks at every PID.
#pragma once

#include <vector>

#include "findings.h"
#include "mpegts.h"
#include "ts_header.h"

namespace zvprobe {

enum class Step { kNext, kRepeat, kGap };

// Books a packet by the library's rule: a repeat is no error, and a wrap counts one packet fewer
// than were lost. A gap is told.
Step count_continuity(CCState& state, PacketBytes packet, uint64_t offset, Findings& findings);

class TableWatch;

// Tells gaps of all PIDs that carry no table. Slower than the analysis itself.
class ContinuityWatch {
  public:
    ContinuityWatch(const TableWatch& tables, Findings& findings)
        : tables_(tables), findings_(findings), by_pid_(kPidCount) {}

    // Looks at whole packets. offset: of the first one's sync byte
    void see(std::span<const uint8_t> packets, size_t packet_size, uint64_t offset);

  private:
    const TableWatch& tables_;
    Findings& findings_;
    std::vector<CCState> by_pid_;
};

}  // namespace zvprobe
