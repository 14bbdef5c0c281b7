// SPDX-License-Identifier: MIT
// Streams from a few bytes each: tables by the library's builders, then one record a packet. PIDs
// come from small ranges, so that tables, clocks and streams meet on the same PID now and then.
#include <array>

#include "mpeg/ts_packet/ts_packet.h"
#include "parts/packets.h"

namespace fuzz {
namespace {

constexpr size_t kMaxPackets = 192;
constexpr uint16_t kFirstPmtPid = 0x1F8;
constexpr uint16_t kFirstStreamPid = 0x200;
constexpr size_t kBuilderRoom = 1024;
constexpr uint8_t kStreamTypes[] = {0x1B, 0x0F, 0x02, 0x03, 0x06, 0x24, 0x81, 0xFF};

struct Program {
    uint16_t number;
    uint16_t pmt_pid;
    uint16_t pcr_pid;
    int8_t streams_used;
    MPEGTSStream streams[ZV_TS_MAX_STREAMS + 1];
};

class StreamMaker {
  public:
    explicit StreamMaker(ByteSource& in) : in_(in) { choose_programs(); }

    std::vector<uint8_t> run() {
        add_pat();
        for (size_t i = 0; i < programs_.size(); ++i)
            add_pmt(i);
        while (!in_.empty() && packets_.size() < kMaxPackets * zv::kTsPacketSize)
            add_any();
        return std::move(packets_);
    }

  private:
    using Table = std::array<uint8_t, kBuilderRoom>;

    // Mostly one of sixteen; a PMT may name any other PID, too.
    uint16_t stream_pid() {
        const uint8_t choice = in_.u8();
        if (choice == 0xFF) return zv::kPidNull;
        if (choice == 0xFE) return zv::kPidSdt;
        if (choice == 0xFD) return zv::kPidPat;
        return static_cast<uint16_t>(kFirstStreamPid + (choice & 0x0F));
    }

    void choose_programs() {
        const uint8_t count = in_.u8();
        programs_.resize(count == 0xFF ? 30 : 1 + count % 4);
        for (Program& program : programs_) {
            memset(static_cast<void*>(&program), 0, sizeof program);
            program.number = static_cast<uint16_t>(&program - programs_.data() + 1);
            program.pmt_pid = static_cast<uint16_t>(kFirstPmtPid + (in_.u8() & 0x0F));
            program.pcr_pid = stream_pid();
            program.streams_used = static_cast<int8_t>(in_.u8() % std::size(program.streams));
            for (int i = 0; i < program.streams_used; ++i) {
                program.streams[i].stream_type = kStreamTypes[in_.u8() % sizeof kStreamTypes];
                program.streams[i].pid = stream_pid();
            }
        }
    }

    void add(const uint8_t* packet) {
        packets_.insert(packets_.end(), packet, packet + zv::kTsPacketSize);
    }
    void add_table(Table& table) {
        table[3] = static_cast<uint8_t>((table[3] & 0xF0) | next_counter(table.data()));
        add(table.data());
    }

    void add_pat() {
        Table table;
        uint16_t numbers[30], pids[30];
        const size_t count = programs_.size();
        for (size_t i = 0; i < count; ++i) {
            numbers[i] = programs_[i].number;
            pids[i] = programs_[i].pmt_pid;
        }
        mpegts_api_buildPat(table.data(), zv::kAfcPayloadOnly, zv::kTsPacketSize,
                            static_cast<uint16_t>(count), numbers, pids);
        add_table(table);
    }

    void add_pmt(size_t index) {
        Table table = pmt(index);
        add_table(table);
    }

    // A PMT that is no longer what it was: another table, another programme, a wrong CRC.
    void add_damaged_pmt(size_t index) {
        Table table = pmt(index);
        const size_t at = zv::kTsHeaderSize + in_.u8() % 24;
        table[at] = static_cast<uint8_t>(table[at] ^ in_.u8());
        add_table(table);
    }

    Table pmt(size_t index) const {
        Table table;
        const Program& program = programs_[index % programs_.size()];
        mpegts_api_buildPmtEs(table.data(), zv::kAfcPayloadOnly, program.number, program.pmt_pid,
                              program.pcr_pid, program.streams_used, program.streams,
                              zv::kTsPacketSize);
        return table;
    }

    void add_sdt(size_t index) {
        Table table;
        mpegts_api_buildSdt(table.data(), zv::kAfcPayloadOnly,
                            programs_[index % programs_.size()].number, "provider", "service",
                            zv::kTsPacketSize);
        add_table(table);
    }

    // One record: what it is, and for a stream's packet its header and the first bytes of its body.
    void add_any() {
        const uint8_t what = in_.u8();
        switch (what & 7) {
            case 0:
                return add_pat();
            case 1:
                return add_pmt(what >> 3);
            case 2:
                return add_sdt(what >> 3);
            case 3:
                return add_damaged_pmt(what >> 3);
            default:
                return add_stream_packet(what);
        }
    }

    void add_stream_packet(uint8_t what) {
        uint8_t packet[zv::kTsPacketSize];
        memset(packet, 0xFF, sizeof packet);
        const bool is_null = what == 0xFF;
        const uint16_t pid = is_null ? zv::kPidNull : stream_pid();
        const uint8_t head = in_.u8();  // start, transport error, two bits of control, four spare
        zvsi_api_tsHeaderBuild(pid, (head >> 4) & 3, 0, packet);
        packet[1] = static_cast<uint8_t>((packet[1] & 0x1F) | (head & 0xC0));
        const uint8_t counter = what & 0x80 ? head & 15 : next_counter(packet);
        packet[3] = static_cast<uint8_t>(packet[3] | counter);
        const auto body = in_.take((what >> 3) & 0x0F);
        std::copy(body.begin(), body.end(), packet + zv::kTsHeaderSize);
        if (what & 0x40 && !body.empty()) add_pes_header(packet, body[0]);
        add(packet);
    }

    // A PES header, half of them where they belong, the others at any place up to the packet's end.
    void add_pes_header(uint8_t* packet, uint8_t place) {
        const uint8_t length = in_.u8();
        const uint8_t flags = in_.u8();
        const uint8_t header[] = {0,     0,  1,    0xE0,     length, length,   0x80,
                                  flags, 10, 0x31, in_.u8(), 1,      in_.u8(), 1,
                                  0x11,  0,  1,    in_.u8(), 1};
        const size_t at = zv::kTsHeaderSize + (place & 0x80 ? size_t{place} % zv::kTsBodySize : 0);
        std::copy_n(header, std::min(sizeof header, zv::kTsPacketSize - at), packet + at);
    }

    uint8_t next_counter(const uint8_t* packet) {
        return counters_[zv::load_pid(packet + 1)]++ & 15;
    }

    ByteSource& in_;
    std::vector<Program> programs_;
    std::vector<uint8_t> packets_;
    std::array<uint8_t, 8192> counters_ = {};
};

}  // namespace

std::vector<uint8_t> make_stream(ByteSource& in) {
    return StreamMaker(in).run();
}

}  // namespace fuzz
