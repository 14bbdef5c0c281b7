// SPDX-License-Identifier: MIT
// Implementation of table_watch.h.
#include "table_watch.h"

namespace zvprobe {
namespace {

constexpr size_t kPidCount = 8192;
constexpr uint16_t kPidPat = 0x0000;
constexpr uint16_t kPidSdt = 0x0011;
constexpr uint16_t kPidNull = 0x1FFF;
constexpr size_t kHeaderSize = 4;

// The library's rule: a repeat is no error, and a wrap counts one packet fewer than were lost.
void count(CCState& state, uint8_t counter) {
    const int expected = (state.last_cc + 1) & 15;
    const bool first = !state.started;
    const bool repeated = counter == state.last_cc;
    state.started = 1;
    state.last_cc = counter;
    if (first || repeated || counter == expected) return;
    ++state.errnum;
    const int lost = counter > expected ? counter - expected : 15 - expected + counter;
    state.lostnum += static_cast<uint32_t>(lost);
}

}  // namespace

TableWatch::TableWatch() : by_pid_(kPidCount) {}

void TableWatch::see(std::span<const uint8_t> packets, size_t packet_size) {
    for (size_t at = 0; at + kHeaderSize <= packets.size(); at += packet_size) {
        const uint8_t* const header = packets.data() + at;
        const auto pid = static_cast<uint16_t>((header[1] & 0x1F) << 8 | header[2]);
        const bool empty = (header[3] & 0x30) == 0;
        if (pid == kPidNull || empty) continue;
        count(by_pid_[pid], header[3] & 0x0F);
    }
}

TableContinuity TableWatch::continuity(std::span<const StreamInfoProgram> programs) const {
    TableContinuity result = {by_pid_[kPidPat], by_pid_[kPidSdt], {}};
    for (const StreamInfoProgram& program : programs)
        result.pmt.push_back(by_pid_[program.pmt_pid % kPidCount]);
    return result;
}

}  // namespace zvprobe
