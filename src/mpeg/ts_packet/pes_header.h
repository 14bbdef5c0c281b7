// SPDX-License-Identifier: MIT
// Fields of a PES packet header (ISO/IEC 13818-1, 2.4.3.6), read from a pointer at its start code.
// The caller guarantees the bytes: up to p[18] for the time stamps.
#pragma once

#include <cstdint>

#include "mpeg/ts_packet/packet_fields.h"

namespace zv {

// Bytes up to and including PES_packet_length, and up to and including PES_header_data_length.
constexpr int kPesStartSize = 6;
constexpr int kPesFixedHeaderSize = 9;

// These stream_ids have no optional header (table 2-21).
inline bool pes_has_optional_header(uint8_t stream_id) {
    switch (stream_id) {
        case 0xBC:  // program_stream_map
        case 0xBE:  // padding_stream
        case 0xBF:  // private_stream_2
        case 0xF0:  // ECM
        case 0xF1:  // EMM
        case 0xF2:  // DSM-CC
        case 0xF8:  // ITU-T H.222.1 type E
        case 0xFF:  // program_stream_directory
            return false;
        default:
            return stream_id >= 0xBC;
    }
}

// 33 bits spread over five bytes; the marker bits between them are dropped unchecked.
inline uint64_t pes_time_stamp(const uint8_t* b) {
    return ((static_cast<uint64_t>(b[0]) << 29) & 0x1C0000000ULL) |
           (static_cast<uint64_t>(b[1]) << 22) | ((static_cast<uint64_t>(b[2]) << 14) & 0x3F8000) |
           (static_cast<uint64_t>(b[3]) << 7) | (b[4] >> 1);
}

}  // namespace zv

extern "C" {

inline uint32_t pes_get_streamid(const uint8_t* p) {
    return p[3];
}
inline uint32_t pes_get_length(const uint8_t* p) {
    return (static_cast<uint32_t>(p[4]) << 8) | p[5];
}
inline uint32_t pes_get_headerlength(const uint8_t* p) {
    return p[8];
}
inline uint32_t pes_get_dataalignment(const uint8_t* p) {
    return (p[6] >> 2) & 1;
}
inline uint32_t pes_has_pts(const uint8_t* p) {
    return p[7] >> 7;
}
inline uint32_t pes_has_dts(const uint8_t* p) {
    return (p[7] & 0xC0) == 0xC0;
}

// -> 1 when the field's prefix and two of its marker bits are right. The PTS test accepts the
// prefix of a PTS alone and of a PTS with DTS, whatever the flags say.
inline uint32_t pes_validate_pts(const uint8_t* p) {
    return (p[9] & 0xE1) == 0x21 && (p[11] & 1) && (p[13] & 1);
}
inline uint32_t pes_validate_dts(const uint8_t* p) {
    return (p[9] & 0x10) && (p[14] & 0xF1) == 0x11 && (p[16] & 1) && (p[18] & 1);
}

// -> the time stamp in 90 kHz ticks
inline uint64_t pes_get_pts(const uint8_t* p) {
    return zv::pes_time_stamp(p + 9);
}
inline uint64_t pes_get_dts(const uint8_t* p) {
    return zv::pes_time_stamp(p + 14);
}

// -> 1 at a start code of program_stream_map (0xBC) or above
inline uint32_t pes_validate(const uint8_t* p) {
    return zv::load_be32(p) - 0x1BC <= 0x1FF - 0x1BC;
}

// -> 1 when the optional header's '10' marker is there
inline uint32_t pes_validate_header(const uint8_t* p) {
    return (p[6] & 0xC0) == 0x80;
}

// -> the first offset in 0..len-1 at which pes_validate and pes_validate_header hold, else -1.
// Reads up to six bytes beyond buf[len - 1]; the caller supplies them.
int32_t pes_find(const uint8_t* buf, int32_t len);

}  // extern "C"
