// SPDX-License-Identifier: MIT
// Implementation of synth_stream.h.
#include "synth_stream.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace zvbench {
namespace {

constexpr uint8_t kTypeAac = 0x0F;

// What the streams carry: ADTS frames (ISO/IEC 13818-7), so that those who read codecs find one.
constexpr size_t kFrameSize = 0x120;
constexpr uint8_t kFrameHeader[] = {0xFF, 0xF1, 0x4C, 0x80, kFrameSize >> 3, 0x1F, 0xFC};
static_assert(kFrameSize % 8 == 0);

constexpr uint16_t kFirstPmtPid = 0x1000;
constexpr uint16_t kFirstStreamPid = 0x100;
constexpr uint16_t kFirstUnannouncedPid = 0x200;
constexpr uint64_t kBitRate = 10'000'000;  // of each stream; what the PCRs tell

void store_clock(uint8_t* field, uint64_t base) {
    for (const int shift : {25, 17, 9, 1})
        *field++ = static_cast<uint8_t>(base >> shift);
    *field++ = static_cast<uint8_t>((base << 7) | 0x7E);
    *field = 0;
}

uint64_t load_clock(const uint8_t* field) {
    uint64_t base = 0;
    for (int i = 0; i < 4; ++i)
        base = base << 8 | field[i];
    return base << 1 | field[4] >> 7;
}

class Generator {
  public:
    Generator(const StreamShape& shape, size_t min_bytes)
        : shape_(shape),
          min_bytes_(min_bytes),
          count_(static_cast<size_t>(shape.programs * shape.streams + shape.unannounced)) {
        out_.bytes.reserve(min_bytes + 200 * static_cast<size_t>(shape.packet_size));
    }

    SynthStream run() {
        const size_t size = static_cast<size_t>(shape_.packet_size);
        for (size_t turn = 0; out_.bytes.size() < min_bytes_ || !counters_closed(); ++turn) {
            if (turn % static_cast<size_t>(shape_.tables_every) == 0) tables();
            if (chance(shape_.null_percent))
                null_packet();
            else
                stream_packet(next_stream());
        }
        out_.packets = out_.bytes.size() / size;
        out_.ticks = clock_now();
        return std::move(out_);
    }

  private:
    // Every stream's counter is back where it started, so a repeated feed is in order.
    bool counters_closed() const { return turn_ % (16 * count_) == 0; }

    bool chance(int percent) {
        state_ = state_ * 6364136223846793005ULL + 1442695040888963407ULL;
        return static_cast<int>((state_ >> 33) % 100) < percent;
    }

    uint16_t stream_pid(int program, int stream) const {
        return static_cast<uint16_t>(kFirstStreamPid + program * ZV_TS_MAX_STREAMS + stream);
    }

    void append(const uint8_t* packet) {
        out_.bytes.insert(out_.bytes.end(), packet, packet + kTsPacket);
        out_.bytes.resize(out_.bytes.size() + static_cast<size_t>(shape_.packet_size) - kTsPacket);
    }

    // Tables are appended with the counter that their PID has reached.
    void append_table(uint8_t* packet) {
        uint8_t& cc = counters_[static_cast<size_t>(((packet[1] & 0x1F) << 8) | packet[2])];
        packet[3] = static_cast<uint8_t>((packet[3] & 0xF0) | (cc++ & 15));
        append(packet);
    }

    void tables() {
        uint8_t packet[kTsPacket];
        std::vector<uint16_t> numbers, pmt_pids;
        for (int p = 0; p < shape_.programs; ++p) {
            numbers.push_back(static_cast<uint16_t>(p + 1));
            pmt_pids.push_back(static_cast<uint16_t>(kFirstPmtPid + p));
        }
        mpegts_api_buildPat(packet, 1, kTsPacket, static_cast<uint16_t>(shape_.programs),
                            numbers.data(), pmt_pids.data());
        append_table(packet);
        for (int p = 0; p < shape_.programs; ++p)
            pmt(p);
        mpegts_api_buildSdt(packet, 1, 1, "Bench", "Service", kTsPacket);
        append_table(packet);
    }

    void pmt(int program) {
        uint8_t packet[kTsPacket];
        std::array<MPEGTSStream, ZV_TS_MAX_STREAMS> streams{};
        for (int s = 0; s < shape_.streams; ++s) {
            streams[static_cast<size_t>(s)].pid = stream_pid(program, s);
            streams[static_cast<size_t>(s)].stream_type = kTypeAac;
        }
        mpegts_api_buildPmtEs(packet, 1, static_cast<uint16_t>(program + 1),
                              static_cast<uint16_t>(kFirstPmtPid + program), stream_pid(program, 0),
                              static_cast<int8_t>(shape_.streams), streams.data(), kTsPacket);
        append_table(packet);
    }

    void null_packet() {
        uint8_t packet[kTsPacket];
        mpegts_api_buildNullPkt(packet, kTsPacket);
        append(packet);
    }

    uint16_t next_stream() {
        const int turn = static_cast<int>(turn_++ % count_);
        const int unannounced = turn - shape_.programs * shape_.streams;
        if (unannounced >= 0) return static_cast<uint16_t>(kFirstUnannouncedPid + unannounced);
        return stream_pid(turn / shape_.streams, turn % shape_.streams);
    }

    // The analyser's rule: a packet may continue the last one checked or the last with a PCR.
    void note_order(uint16_t pid, int cc, bool with_pcr, bool first) {
        if (with_pcr) {
            last_pcr_cc_[pid] = cc;
            return;
        }
        const bool continues = cc == (last_cc_[pid] + 1) % 16 || cc == (last_pcr_cc_[pid] + 1) % 16;
        out_.losses += !first && !continues;
        last_cc_[pid] = cc;
    }

    uint64_t clock_now() const {
        const uint64_t bits = uint64_t{out_.bytes.size()} * 8;
        return bits * 90000 / (kBitRate * count_);
    }

    // -> what follows the adaptation field
    uint8_t* write_pcr(uint8_t* field) {
        out_.pcr_fields.push_back(out_.bytes.size() + 6);
        field[0] = 7;
        field[1] = 0x10;
        store_clock(field + 2, clock_now());
        return field + 8;
    }

    void write_frames(uint16_t pid, uint8_t* at, const uint8_t* end) {
        size_t& place = frame_place_[pid];
        while (at < end) {
            if (place < sizeof kFrameHeader) {
                *at++ = kFrameHeader[place++];
                continue;
            }
            const size_t body = std::min<size_t>(static_cast<size_t>(end - at), kFrameSize - place);
            at += body;
            place = (place + body) % kFrameSize;
        }
    }

    void stream_packet(uint16_t pid) {
        const size_t sent = sent_[pid]++;
        uint8_t& cc = counters_[pid];
        if (sent > 0 && chance(shape_.lost_percent)) cc = static_cast<uint8_t>(cc + 3);
        uint8_t packet[kTsPacket];
        memset(packet, 0xA5, sizeof packet);
        const bool first_of_program =
            pid < kFirstUnannouncedPid && (pid - kFirstStreamPid) % ZV_TS_MAX_STREAMS == 0;
        const bool with_pcr = first_of_program && sent % static_cast<size_t>(shape_.pcr_every) == 1;
        note_order(pid, cc & 15, with_pcr, sent == 0);
        const bool starts_unit = sent % static_cast<size_t>(shape_.unit_start_every) == 0;
        packet[0] = 0x47;
        packet[1] = static_cast<uint8_t>((starts_unit ? 0x40 : 0) | (pid >> 8));
        packet[2] = static_cast<uint8_t>(pid);
        packet[3] = static_cast<uint8_t>((with_pcr ? 0x30 : 0x10) | (cc++ & 15));
        uint8_t* payload = packet + 4;
        if (with_pcr) {
            payload = write_pcr(payload);
        }
        if (starts_unit) {
            const uint8_t header[] = {0, 0, 1, 0xE0, 0, 0, 0x80, 0x80, 5, 0x21, 0, 1, 0, 1};
            memcpy(payload, header, sizeof header);
            payload += sizeof header;
        }
        write_frames(pid, payload, packet + kTsPacket);
        append(packet);
    }

    StreamShape shape_;
    size_t min_bytes_;
    size_t count_;  // PIDs that come in turn
    SynthStream out_;
    size_t turn_ = 0;
    uint64_t state_ = 1;
    std::array<uint8_t, 8192> counters_{};
    std::array<size_t, 8192> sent_{};
    std::array<size_t, 8192> frame_place_{};
    std::array<int, 8192> last_cc_{};
    std::array<int, 8192> last_pcr_cc_{};
};

}  // namespace

void continue_clocks(SynthStream& stream) {
    for (const size_t at : stream.pcr_fields)
        store_clock(&stream.bytes[at], load_clock(&stream.bytes[at]) + stream.ticks);
}

SynthStream make_stream(const StreamShape& shape, size_t min_bytes) {
    return Generator(shape, min_bytes).run();
}

}  // namespace zvbench
