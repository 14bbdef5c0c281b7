// SPDX-License-Identifier: MIT
// One record a PID: the small part that every packet touches, and the large part that only some do.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <vector>

#include "mpeg/ts_packet/packet_fields.h"
#include "survey/codecs/codec.h"
#include "survey/packets/es_gatherer.h"
#include "survey/psi/section_gatherer.h"
#include "survey/records/pid_timing.h"
#include "survey/records/roles.h"

namespace zv::survey {

struct ContinuityCounts {
    uint64_t errors = 0;
    uint64_t lost = 0;
    uint64_t duplicates = 0;
    uint64_t signalled = 0;  // packets with discontinuity_indicator
};

// The time stamps of PES packets, as they come.
struct PtsValues {
    uint64_t count = 0;
    uint64_t dts_count = 0;
    uint64_t first = 0;  // 90 kHz
    uint64_t last = 0;
    bool waited_for = false;  // a gap after the latest would count
};

// What only some packets of a PID touch.
struct PidDetail {
    explicit PidDetail(SectionBudget& budget) : sections(budget) {}

    uint64_t transport_errors = 0;
    uint64_t scrambled_packets = 0;
    uint64_t unit_starts = 0;
    uint64_t random_access_points = 0;
    uint64_t crc_errors = 0;
    ContinuityCounts continuity;

    std::unique_ptr<PcrValues> pcr;  // there once a PCR came
    PtsValues pts;
    std::array<uint32_t, kRoles> roles{};  // how many tables in force ask for each
    std::vector<uint16_t> programs;        // numbers of those that name the PID
    // The PCR_PID of the first of them, as it was at a generation of the model.
    std::optional<uint16_t> reference_pid;
    uint64_t reference_generation = 0;
    PidTiming timing;

    bool has(Role role) const { return roles[static_cast<size_t>(role)] > 0; }

    Codec declared = Codec::kUnknown;  // of a stream, by the latest table
    std::unique_ptr<EsGatherer> es;    // while its own bytes have not told the codec
    std::optional<CodecFacts> facts;   // what they said
    uint32_t parameters_crc = 0;       // of the parameter set that they began with; 0 none

    SectionGatherer sections;
    bool watched = false;           // sections are gathered
    std::optional<bool> scrambled;  // the latest payload was

    // The latest packet, for telling duplicates, when its input is gone.
    std::array<uint8_t, kTsPacketSize> kept;
};

// What every packet of a PID touches: one cache line.
struct alignas(64) PidRecord {
    uint64_t packets = 0;
    uint64_t last_offset = 0;
    const uint8_t* last_packet = nullptr;  // in the input at hand, or detail->kept
    std::unique_ptr<PidDetail> detail;     // there once a packet came or a table named the PID
    uint64_t segment_first = 0;            // offset of the first packet since times were told last
    uint64_t input = 0;                    // number of the input at hand when a packet came last
    uint64_t segment = 0;                  // number of the segment of time then
    uint8_t continuity_counter = 0;
    uint8_t counter_bits = 15;  // 0 for null packets, whose counter says nothing
    bool ordinary = false;      // packets that continue a payload need no second look
    bool repeated = false;      // the latest packet had the counter of the one before
    bool segment_open = false;
};

class Pids {
  public:
    Pids() : records_(kPidCount) {}

    PidRecord& operator[](uint16_t pid) { return records_[pid]; }
    const PidRecord& operator[](uint16_t pid) const { return records_[pid]; }

    // -> the large part, made when it is not there yet
    PidDetail& detail(uint16_t pid) {
        auto& detail = records_[pid].detail;
        if (!detail) detail = std::make_unique<PidDetail>(section_budget_);
        return *detail;
    }

    // Gathers the sections of a PID from the next packet on.
    void watch(uint16_t pid) {
        detail(pid).watched = true;
        records_[pid].ordinary = false;
    }

    // Calls see(pid, detail) for each PID that has one, ascending.
    template <typename See>
    void for_each_detail(See see) {
        for (uint16_t pid = 0; pid < kPidCount; ++pid)
            if (records_[pid].detail) see(pid, *records_[pid].detail);
    }

    // Reads the codec of a stream anew, from the next unit on.
    void read_codec_of(uint16_t pid) {
        detail(pid).es = std::make_unique<EsGatherer>(es_budget_);
        records_[pid].ordinary = false;
    }

    // Did any packet come, if only one with transport_error_indicator?
    bool seen(uint16_t pid) const {
        const PidRecord& record = records_[pid];
        return record.packets > 0 || (record.detail && record.detail->transport_errors > 0);
    }

    // Calls see(pid, record) for each PID that was seen, ascending.
    template <typename See>
    void for_each_seen(See see) const {
        for (uint16_t pid = 0; pid < kPidCount; ++pid)
            if (seen(pid)) see(pid, records_[pid]);
    }

    // -> sections that were not gathered because too many were under way
    uint64_t sections_left_out() const { return section_budget_.refused; }

  private:
    SectionBudget section_budget_;
    EsBudget es_budget_;
    std::vector<PidRecord> records_;
};

}  // namespace zv::survey
