// SPDX-License-Identifier: MIT
// One record for each PID: a small part that every packet uses, and a large part for the packets
// that need more.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <vector>

#include "mpeg/ts_packet/packet_fields.h"
#include "survey/codecs/codec.h"
#include "survey/packets/continuity.h"
#include "survey/packets/es_gatherer.h"
#include "survey/psi/section_gatherer.h"
#include "survey/records/pid_timing.h"
#include "survey/records/roles.h"

namespace zv::survey {

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
    std::unique_ptr<EsGatherer> es;    // until its codec has been read from its bytes
    std::optional<CodecFacts> facts;   // what was read
    uint32_t parameters_crc = 0;       // of the parameter set that they began with; 0 none

    SectionGatherer sections;
    bool watched = false;           // sections are gathered
    std::optional<bool> scrambled;  // the latest payload was

    // The latest packet, for telling duplicates, when its input is gone.
    std::array<uint8_t, kTsPacketSize> kept;
};

// The bits of a header that say: no error, no unit start, not scrambled, payload only; and those of
// the counter.
constexpr uint32_t kContinuingBits = 0x00C000F0;
constexpr uint32_t kCounterBits = 0x0000000F;
constexpr uint32_t kUnitStartBit = 0x00400000;

// What every packet of a PID touches: one cache line.
struct alignas(64) PidRecord {
    uint64_t packets = 0;
    uint64_t last_offset = 0;
    const uint8_t* last_packet = nullptr;  // in the current input, or detail->kept
    std::unique_ptr<PidDetail> detail;     // there once a packet came or a table named the PID
    uint64_t segment_first = 0;            // offset of the first packet since times were told last
    uint64_t segment = 0;                  // number of the segment of time when a packet came last
    // Packets that just continue need no second look; in this stretch of input and time not even
    // a new segment.
    uint64_t ordinary_in = kNeverOrdinary;
    // What the bits of such a packet's header are; of null packets neither counter nor unit start
    // says anything.
    uint32_t judged_bits = kContinuingBits | kCounterBits;
    uint8_t due_bits = 0;
    bool repeated = false;  // the latest packet had the counter of the one before
    bool segment_open = false;

    static constexpr uint64_t kNeverOrdinary = 0;

    void look_again() { ordinary_in = kNeverOrdinary; }
    bool is_ordinary() const { return ordinary_in != kNeverOrdinary; }

    bool just_continues(HeaderWord head) const {
        return ((head.word ^ due_bits) & judged_bits) == 0;
    }
    bool continues_or_starts_unit(HeaderWord head) const {
        return ((head.word ^ due_bits) & judged_bits & ~kUnitStartBit) == 0;
    }
    void note_counter(HeaderWord head) {
        due_bits = static_cast<uint8_t>(kAfcPayloadOnly << 4 | ((head.word + 1) & kCounterBits));
    }
    uint8_t continuity_counter() const { return (due_bits - 1u) & kCounterBits; }
};

class Pids {
  public:
    Pids() : records_(kPidCount) {}

    PidRecord& operator[](uint16_t pid) { return records_[pid]; }
    const PidRecord& operator[](uint16_t pid) const { return records_[pid]; }

    // -> the large part, made when it is not there yet
    PidDetail& detail(uint16_t pid) {
        PidDetail* const detail = records_[pid].detail.get();
        return detail ? *detail : make_detail(pid);
    }

    // Gathers the sections of a PID from the next packet on.
    void watch(uint16_t pid) {
        detail(pid).watched = true;
        records_[pid].look_again();
    }

    // Calls see(pid, detail) for each PID that has one, ascending.
    template <typename See>
    void for_each_detail(See see) {
        for (uint16_t pid = 0; pid < kPidCount; ++pid)
            if (records_[pid].detail) see(pid, *records_[pid].detail);
    }

    // Reads the codec of a stream again, from the next unit on.
    void read_codec_of(uint16_t pid) {
        detail(pid).es = std::make_unique<EsGatherer>(es_budget_);
        records_[pid].look_again();
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
    // Once a PID: kept out of the code of those who only look.
    [[gnu::noinline]] PidDetail& make_detail(uint16_t pid) {
        records_[pid].detail = std::make_unique<PidDetail>(section_budget_);
        return *records_[pid].detail;
    }

    SectionBudget section_budget_;
    EsBudget es_budget_;
    std::vector<PidRecord> records_;
};

}  // namespace zv::survey
