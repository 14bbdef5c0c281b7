// SPDX-License-Identifier: MIT
// The way of a packet through the survey: bytes -> framing -> packet -> its PID's record -> what
// only some packets have -> model and tables -> events.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "mpeg/ts_packet/framing.h"
#include "survey/model/model.h"
#include "survey/packets/continuity.h"
#include "survey/packets/joined_input.h"
#include "survey/packets/packet.h"
#include "survey/records/events.h"
#include "survey/records/pids.h"
#include "survey/records/tables.h"
#include "survey/timing/timing.h"

namespace zv::survey {

struct CrcError {
    uint64_t offset;  // of the packet in which the section begins
    uint16_t pid;
    uint8_t table_id;
};

struct SyncLoss {
    uint64_t offset;  // of the first of the two places without a sync byte
    uint64_t skipped_bytes;
};

// Gets each run of packets in sync.
using SeePackets =
    std::function<void(const uint8_t* packets, size_t packet_size, size_t count, uint64_t offset)>;

class Survey {
  public:
    static constexpr size_t kMostCrcErrors = 1000;
    static constexpr size_t kMostSyncLosses = 1000;

    Survey(EventLog::Tell tell, SeePackets see_packets, const Limits& limits, SeeTimeLine see_line,
           const std::optional<HistoryBounds>& history);

    void feed(std::span<const uint8_t> bytes);

    // Live: the bytes came at this time, not before the time of the call before.
    void feed_at(std::span<const uint8_t> bytes, uint64_t arrival_us);
    void tick(uint64_t now_us);

    void finish();

    uint64_t bytes() const { return bytes_; }
    uint64_t null_packets() const { return pids_[kPidNull].packets; }
    uint64_t transport_errors() const { return transport_errors_; }
    uint64_t crc_errors() const { return crc_errors_; }
    const std::vector<CrcError>& crc_error_list() const { return crc_error_list_; }
    const FramingCounts& framing() const { return framer_.counts(); }
    const std::vector<SyncLoss>& sync_loss_list() const { return sync_loss_list_; }
    const Pids& pids() const { return pids_; }
    const Tables& tables() const { return tables_; }
    const Model& model() const { return model_; }
    const IndicatorCount& counted(Indicator indicator) const { return events_.counted(indicator); }

    // -> the first events, in order, and how many there are; of what was measured
    std::vector<Event> events() const;
    uint64_t event_count() const;
    const Timing& timing() const { return timing_; }

    // -> how long the stream is, and how fast; nothing while there is no clock
    std::optional<double> duration_s() const;
    std::optional<double> bit_rate_bps() const;
    bool constant_rate() const;

    // -> the share of the rate that so many packets have
    std::optional<double> bit_rate_of(uint64_t packets) const;

    // -> how fast the PCRs of a PID run against the clock; nothing when they fit no straight line
    std::optional<double> drift_ppm(const PidDetail& detail) const;

    // -> is there what it takes to measure an indicator?
    bool measures(Indicator indicator) const {
        return has(kIndicators[static_cast<size_t>(indicator)].needs);
    }

  private:
    bool has(Needs needs) const;
    size_t read(std::span<const uint8_t> bytes, bool last);
    void see_run(const Framer::Step& step, uint64_t offset);
    size_t pass_ordinary(const Framer::Step& step, size_t from, uint64_t offset);
    void see_payload_only(const Packet& packet, PidRecord& record, uint64_t offset);
    void see_other(const Packet& packet, PidRecord& record, uint64_t offset);
    void see_transport_error(uint16_t pid, uint64_t offset);
    void note_coming(PidRecord& record, const Packet& packet, uint64_t offset);
    bool see_continuity(const Packet& packet, PidRecord& record, uint64_t offset);
    void see_discontinuity(Continuity step, const Packet& packet, const PidRecord& record,
                           uint64_t offset);
    void see_scrambling(const Packet& packet, PidDetail& detail, uint64_t offset);
    void see_scrambled(const Packet& packet, PidDetail& detail, uint64_t offset);
    void see_pcr(const Packet& packet, PidDetail& detail, uint64_t offset);
    void see_time_stamps(const Packet& packet, PidDetail& detail, uint64_t offset);
    void see_parameters(const Packet& packet, PidDetail& detail);
    void see_es(const Packet& packet, PidDetail& detail, uint64_t offset);
    bool read_codec_now(uint16_t pid, PidDetail& detail, uint64_t offset);
    void finish_codec(uint16_t pid, PidDetail& detail);
    void tell_codec(uint16_t pid, const PidDetail& detail, const CodecFacts& now, uint64_t offset);
    void see_sections(const Packet& packet, PidDetail& detail, uint64_t offset);
    void see_splice(uint16_t pid, const Section& section, uint64_t offset);
    void note_section(uint16_t pid, const Section& section, uint64_t offset);
    void check_table_id(uint16_t pid, uint8_t table_id, uint64_t offset);
    double seconds_since_first(uint64_t now_us);
    void see_section(uint16_t pid, const Section& section, uint64_t first_offset, uint64_t offset);
    void see_loss(std::span<const uint8_t> rest, uint64_t offset);
    void tell_byte_error(uint64_t offset, uint8_t found);
    void keep_last_packets();

    // -> a number that another one follows when the input or the segment of time ends
    uint64_t stretch() const { return input_number_ + timing_.segment(); }

    uint64_t bytes_ = 0;
    uint64_t transport_errors_ = 0;
    uint64_t crc_errors_ = 0;
    std::vector<CrcError> crc_error_list_;
    std::vector<SyncLoss> sync_loss_list_;
    bool finished_ = false;

    SeePackets see_packets_;
    JoinedInput input_{Framer::kLookAhead};
    Framer framer_;
    EventLog events_;
    const Limits limits_;
    Pids pids_;
    Tables tables_;
    Timing timing_;
    Model model_{pids_, timing_};
    bool begun_ = false;
    bool scrambled_came_ = false;
    uint64_t last_packet_ = 0;  // its offset
    std::optional<uint64_t> first_arrival_us_;
    uint64_t last_arrival_us_ = 0;
    uint64_t packets_at_first_arrival_ = 0;
    uint64_t input_number_ = 1;
    std::vector<uint16_t> came_;  // PIDs with a packet in the current input
};

}  // namespace zv::survey
