// SPDX-License-Identifier: MIT
// Streams of a packet each 10 ms, so that it is known in which step of a history each packet is.
#pragma once

#include <cmath>
#include <functional>
#include <optional>

#include "support/ts_builder.h"

namespace zvtest {

constexpr int kPcrPid = 0x1C0;

inline TsPacket pcr_packet(int pid, double time_s, double jitter_ns = 0) {
    const auto ticks = std::llround((time_s + jitter_ns * 1e-9 + 100) * 27e6);
    return TsPacket(pid).adaptation(183).control(2).pcr(static_cast<uint64_t>(ticks / 300),
                                                        static_cast<int>(ticks % 300));
}
inline TsPacket stamped(int pid, double ahead_of_s) {
    const auto ticks = static_cast<uint64_t>(std::llround((ahead_of_s + 100) * 90e3));
    return TsPacket(pid).start().payload(PesHeader(0xE0).pts(ticks));
}
inline TsPacket stuffing() {
    return TsPacket(0x1FFF);
}

// A packet each 10 ms: a PCR at the beginning and in the middle of each step, null packets where
// packet(i) gives none.
using PacketAt = std::function<std::optional<TsPacket>(int i)>;
inline Bytes even_stream(int packets, const PacketAt& packet) {
    TsStream stream;
    for (int i = 0; i < packets; ++i) {
        const double time_s = i * 0.01;
        stream.add(i % 5 == 0 ? pcr_packet(kPcrPid, time_s, i % 20 == 0 ? 700 : 0)
                              : packet(i).value_or(stuffing()));
    }
    return stream;
}

// Tables, time stamps more and less ahead, and faults.
inline std::optional<TsPacket> eventful(int i) {
    if (i % 40 == 1) return pat_packet({{1, kPmtPid}});
    if (i % 40 == 2 && (i < 1000 || i > 1100))
        return TsPacket(kPmtPid).section(
            pmt(1, kPcrPid, {{0x1B, kVideoPid}, {0x0F, kAudioPid, {0x0A, 4, 'e', 'n', 'g', 0}}}));
    if (i % 10 == 3) return stamped(kVideoPid, i * 0.01 + (i < 500 ? 0.5 : 0.25));
    if (i % 10 == 4) return stamped(kAudioPid, i * 0.01 - 0.01 * (i / 100));
    if (i % 333 == 7) return TsPacket(0x300).cc(i);
    return std::nullopt;
}

}  // namespace zvtest
