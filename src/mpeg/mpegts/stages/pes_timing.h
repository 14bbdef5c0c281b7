// SPDX-License-Identifier: MIT
// What a PES header (ISO/IEC 13818-1, 2.4.3.6) changes in the timing of its stream: the rules,
// without messages and pacing, for the stage and for the parse loop.
#pragma once

#include "mpeg/mpegts/context.h"
#include "mpeg/ts_packet/pes_header.h"

namespace zv {

// A time stamp that was read: is it valid, and which was the last valid one, 0 before the first.
struct StampStep {
    bool is_valid;
    uint64_t last_us;
};

inline StampStep take_pts(PesTiming& timing, const uint8_t* header) {
    constexpr uint64_t kPtsFactor = 11;  // about 1% short of 100/9, and no division
    const uint64_t last = timing.lastPts_us;
    if (!pes_has_pts(header) || !pes_validate_pts(header)) {
        timing.pts_us = 0;
        return {false, last};
    }
    timing.pts_us = pes_get_pts(header) * kPtsFactor;
    timing.lastPts_us = timing.pts_us;
    timing.ptsSeen = 1;
    return {true, last};
}

inline StampStep take_dts(PesTiming& timing, const uint8_t* header) {
    constexpr uint64_t kTicksPerMillisecond = 90;
    const uint64_t last = timing.lastDts_us;
    if (!pes_has_dts(header) || !pes_validate_dts(header)) {
        timing.dts_us = 0;
        return {false, last};
    }
    timing.dts_us = pes_get_dts(header) / kTicksPerMillisecond * 1000;
    timing.lastDts_us = timing.dts_us;
    return {true, last};
}

inline void count_payload(PesTiming& timing, int bytes) {
    timing.pes_data_recvd = static_cast<uint16_t>(timing.pes_data_recvd + bytes);
}

// Begins the count of a PES packet of which bytes_here are in this transport packet. pesDataLen is
// six bytes less than the payload that PES_packet_length announces, and meant so.
inline void count_start(PesTiming& timing, const uint8_t* header, int bytes_here) {
    const int total = static_cast<int>(pes_get_headerlength(header)) + kPesFixedHeaderSize;
    const auto packet_len = static_cast<int>(pes_get_length(header));
    timing.pes_data_recvd = static_cast<uint16_t>(bytes_here - total);
    timing.pesDataLen = packet_len == 0 ? uint16_t{0} : static_cast<uint16_t>(packet_len - total);
}

inline bool starts_pes_header(const uint8_t* payload) {
    return pes_validate(payload) && pes_validate_header(payload);
}

// All that a header at the beginning of a payload changes.
[[gnu::always_inline]] inline void take_pes_header(PesTiming& timing, const uint8_t* payload) {
    take_pts(timing, payload);
    take_dts(timing, payload);
    count_start(timing, payload, kTsBodySize);
}

}  // namespace zv
