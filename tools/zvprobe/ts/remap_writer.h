// SPDX-License-Identifier: MIT
// Carries a remap plan out, packet by packet.
#pragma once

#include "io/out_file.h"
#include "ts/psi_section.h"
#include "ts/remap_plan.h"
#include "ts/ts_packets.h"

namespace zvprobe {

// The stream is not what the first reading said; the text says how.
class RemapError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class RemapWriter {
  public:
    RemapWriter(const RemapPlan& plan, OutFile& out) : plan_(plan), out_(out) {
        null_packet_[1] &= static_cast<uint8_t>(~kPayloadUnitStart);  // they start nothing
        pcr_counter_ = plan.pcr_counter_before;
    }

    // Throws RemapError, OutputError.
    void take(const TsPacket& packet);

    uint64_t packets() const { return packets_; }

  private:
    struct Table {
        Packet packet;
        uint8_t counter = 0;
    };

    void put(const TsPacket& from, const Packet& body);
    void put_table(const TsPacket& packet, Table& table);
    void put_moved(const TsPacket& packet, uint16_t pid);
    void put_pcr(const TsPacket& from, Packet& body);
    bool starts_pat(PacketBytes packet) const;
    bool starts_pmt(PacketBytes packet);
    bool starts_sdt(PacketBytes packet) const;

    const RemapPlan& plan_;
    OutFile& out_;
    Table pat_{plan_.pat};
    Table pmt_{plan_.pmt};
    Table sdt_{plan_.sdt.value_or(Packet{})};
    Packet null_packet_ = build_null_packet();
    std::vector<uint8_t> old_map_;  // contents of the PMT that is replaced
    uint8_t pcr_counter_;           // last one on the PCR's new PID
    uint64_t packets_ = 0;
};

}  // namespace zvprobe
