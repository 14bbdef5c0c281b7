// SPDX-License-Identifier: MIT
// What is known of a transport stream after reading it: the facts, without any layout.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "listed.h"
#include "mpegts.h"

namespace zvprobe {

// What was read, and how it fell into packets. Every byte is accounted for:
// bytes = packets * packet_size + skipped_bytes + trailing_bytes.
struct TsReading {
    uint32_t packet_size = 0;
    uint64_t first_sync_offset = 0;  // of the first packet's sync byte
    uint64_t bytes = 0;
    uint64_t packets = 0;
    uint64_t skipped_bytes = 0;   // out of sync, those before the first packet included
    uint64_t trailing_bytes = 0;  // of the packet that the end cut off
    Listed<Gap> losses;           // from the missing sync byte to the next packet, or the end
};

// A section whose CRC_32 does not match its bytes.
struct CrcError {
    uint64_t offset;  // of the packet in which it begins
    uint16_t pid;
    uint8_t table_id;
};

struct ContinuityTotals {
    uint64_t errors = 0;
    uint64_t lost = 0;
};

// Continuity of the table PIDs.
struct TableContinuity {
    CCState pat;
    CCState sdt;
    std::vector<CCState> pmt;  // by programme
};

struct TsReport {
    TsReading reading;
    bool tables_complete = false;
    std::unique_ptr<StreamInfo> info = std::make_unique<StreamInfo>();
    ContinuityTotals table_continuity;  // of all tables
    Listed<CrcError> crc_errors;
    std::optional<TableContinuity> tables;  // with statistics only

    std::span<const StreamInfoProgram> programs() const {
        const auto count = std::clamp<int32_t>(info->program_count, 0, ZV_TS_MAX_PROGRAMS);
        return {info->programs, static_cast<size_t>(count)};
    }
};

inline std::span<const StreamInfoEs> streams_of(const StreamInfoProgram& program) {
    const auto count = std::clamp<int8_t>(program.es_count, 0, ZV_TS_MAX_STREAMS);
    return {program.streams, static_cast<size_t>(count)};
}

// -> the name of a stream's kind
const char* kind_name(int32_t kind);

// Continuity errors and losses of all elementary streams.
ContinuityTotals continuity_totals(const TsReport& report);

// -> true when the stream has errors: lost packets or sync, bytes of no packet, tables that are
//    damaged or never came
bool has_findings(const TsReport& report);

}  // namespace zvprobe
