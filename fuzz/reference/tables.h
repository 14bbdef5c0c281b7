// SPDX-License-Identifier: MIT
// The reference survey's sections and the tables that they make up at any packet.
#pragma once

#include <bitset>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "packets.h"

namespace fuzz::reference {

constexpr uint8_t kTablePat = 0x00, kTableCat = 0x01, kTablePmt = 0x02;
constexpr uint8_t kTableNitActual = 0x40, kTableNitOther = 0x41;
constexpr uint8_t kTableSdtActual = 0x42, kTableSdtOther = 0x46, kTableBat = 0x4A;
constexpr uint8_t kTableEitActual = 0x4E, kTableEitOther = 0x4F, kTableEitLast = 0x6F;
constexpr uint8_t kTableTdt = 0x70, kTableRst = 0x71, kTableStuffing = 0x72, kTableTot = 0x73;

constexpr uint16_t kPidPat = 0, kPidCat = 1, kPidTsdt = 2;
constexpr uint16_t kPidNit = 0x10, kPidSdt = 0x11, kPidEit = 0x12, kPidRst = 0x13, kPidTdt = 0x14;
constexpr uint16_t kPidPsip = 0x1FFB;

constexpr uint8_t kTagRegistration = 0x05, kTagCa = 0x09;

using PidSet = std::bitset<kPidCount>;

struct Section {
    uint16_t pid;
    std::vector<uint8_t> bytes;
    uint64_t first_offset;  // of the packet in which it begins
    uint64_t last_offset;   // of the packet that ends it
    size_t last_packet;
    bool sound = true;

    uint8_t table_id() const { return bytes[0]; }
    bool is_long() const { return (bytes[1] & 0x80) != 0; }
    // These four are for sound long sections: their headers are whole.
    uint16_t extension() const { return static_cast<uint16_t>(bytes[3] << 8 | bytes[4]); }
    uint8_t version() const { return bytes[5] >> 1 & 0x1F; }
    uint8_t number() const { return bytes[6]; }
    uint8_t last_number() const { return bytes[7]; }

    bool in_force() const { return !is_long() || (bytes[5] & 1) != 0; }
    bool is_long_table(uint8_t id) const { return is_long() && table_id() == id; }
    // What stands between the header and CRC_32.
    Bytes contents() const { return Bytes(bytes).subspan(8, bytes.size() - 12); }
};

struct Descriptor {
    uint8_t tag;
    Bytes data;
};
std::vector<Descriptor> descriptors_in(Bytes loop);

// The first `size` bytes, or all there are.
Bytes up_to(Bytes bytes, size_t size);
Bytes from(Bytes bytes, size_t at);
uint16_t be16(Bytes bytes, size_t at);

struct Stream {
    uint8_t type;
    uint16_t pid;
    std::vector<uint8_t> descriptors;
};

struct Pmt {
    std::vector<uint8_t> section;
    uint8_t version;
    uint16_t pcr_pid;
    std::vector<uint8_t> descriptors;
    std::vector<Stream> streams;

    bool is_hdmv() const;
    std::vector<uint16_t> ca_pids() const;
};

struct Program {
    uint16_t number;
    uint16_t pmt_pid;
    const Pmt* pmt;  // null until it came
};

struct Service {
    std::string name;
    std::optional<std::string> provider;
    uint8_t type;
};

struct Network {
    uint16_t id;
    std::optional<std::string> name;
};

// The tables in force.
class Tables {
  public:
    // Takes a sound section. -> whether anything is different now
    bool take(const Section& section);

    // In the order of the PAT, network left out, each number once.
    const std::vector<Program>& programs() const { return programs_; }
    const Program* find_program(uint16_t number, uint16_t pmt_pid) const;
    std::optional<uint16_t> transport_stream_id() const { return pat_.extension; }
    std::optional<Network> network() const;
    std::optional<Service> service(uint16_t program_number) const;

    PidSet network_pids() const;
    PidSet emm_pids() const;
    // Of PAT, CAT and all PMTs: those that carry sections, and those named at all.
    PidSet section_pids() const;
    PidSet named_pids() const;

  private:
    // Sections of one table, all of one version and extension.
    struct Table {
        std::optional<uint16_t> extension;
        uint8_t version = 0;
        std::map<uint8_t, std::vector<uint8_t>> sections;

        bool take(const Section& section);
        std::vector<Bytes> contents() const;
    };

    bool take_pat(const Section& section);
    bool take_pmt(const Section& section);
    void list_programs();

    Table pat_, cat_, nit_, sdt_, terrestrial_channels_, cable_channels_;
    std::vector<std::pair<uint16_t, uint16_t>> pat_entries_;  // program_number, PID
    std::map<std::pair<uint16_t, uint16_t>, Pmt> pmts_;
    std::vector<Program> programs_;
    std::map<uint16_t, size_t> places_;  // in programs_, by program_number
};

enum class Kind { kUnknown, kVideo, kAudio, kSubtitle, kData, kSections };
Kind kind_of(const Stream& stream, const Pmt& pmt);

// What a programme names: its PMT PID, and of its PMT the PCR PID, streams and CA PIDs.
std::vector<uint16_t> pids_of(const Program& program);

// Streams of sections by their stream_type.
bool carries_sections(const Stream& stream, const Pmt& pmt);

// All sections in the order of their ends.
std::vector<Section> gather_sections(const std::vector<Packet>& packets);

}  // namespace fuzz::reference
