// SPDX-License-Identifier: MIT
// Builds transport packets, PSI sections, PES headers and small streams for tests, honest ones and
// ones that lie. Continuity counters are the stream's: TsStream numbers the packets of each PID.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

#include "zvcommon.h"

namespace zvtest {

using Bytes = std::vector<uint8_t>;

inline void append(Bytes& to, const Bytes& from) {
    to.insert(to.end(), from.begin(), from.end());
}
inline Bytes operator+(Bytes a, const Bytes& b) {
    append(a, b);
    return a;
}
inline void append16(Bytes& to, int value) {
    append(to, {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)});
}
inline void append32(Bytes& to, uint32_t value) {
    append16(to, static_cast<int>(value >> 16));
    append16(to, static_cast<int>(value & 0xFFFF));
}
inline void store16(Bytes& in, size_t at, int value) {
    in[at] = static_cast<uint8_t>(value >> 8);
    in[at + 1] = static_cast<uint8_t>(value);
}

class TsPacket {
  public:
    explicit TsPacket(int pid) : pid_(pid) {}

    TsPacket& start() { return start_ = true, *this; }
    TsPacket& cc(int value) { return cc_ = value & 15, *this; }
    // An adaptation field whose length byte is `length`, all flags clear, stuffed.
    TsPacket& adaptation(int length) {
        afc_ = 3;
        field_.assign(static_cast<size_t>(length) + 1, 0xFF);
        field_[0] = static_cast<uint8_t>(length);
        if (length > 0) field_[1] = 0;
        return *this;
    }
    // A PCR in an adaptation field of its own (or the one given before), reserved bits set.
    TsPacket& pcr(uint64_t base, int extension = 0) {
        if (field_.size() < 8) adaptation(7);
        field_[1] |= 0x10;
        for (int i = 0; i < 4; ++i)
            field_[2 + static_cast<size_t>(i)] = static_cast<uint8_t>(base >> (25 - 8 * i));
        store16(field_, 6, static_cast<int>((base & 1) << 15) | 0x7E00 | extension);
        return *this;
    }
    // Flags of an adaptation field of its own, or of the one given before.
    TsPacket& flags(int value) {
        if (field_.size() < 2) adaptation(1);
        return field_[1] |= static_cast<uint8_t>(value), *this;
    }
    TsPacket& discontinuity() { return flags(0x80); }
    TsPacket& random_access() { return flags(0x40); }
    // What the header claims, whatever the packet holds.
    TsPacket& control(int afc) { return afc_ = afc, *this; }
    TsPacket& transport_error() { return error_ = true, *this; }
    TsPacket& scrambled(int with = 2) { return scrambling_ = with, *this; }
    TsPacket& payload(Bytes bytes) { return payload_ = std::move(bytes), *this; }
    // Pointer field and section.
    TsPacket& section(const Bytes& bytes, Bytes pointer = {0}) {
        append(pointer, bytes);
        return start().payload(std::move(pointer));
    }

    int pid() const { return pid_; }
    bool counts() const { return afc_ & 1; }
    bool numbered() const { return cc_ >= 0; }
    // Cut or filled to 188 bytes.
    Bytes build() const {
        Bytes out{0x47};
        append16(out, (error_ ? 0x8000 : 0) | (start_ ? 0x4000 : 0) | (pid_ & 0x1FFF));
        out.push_back(static_cast<uint8_t>((scrambling_ << 6) | (afc_ << 4) | std::max(cc_, 0)));
        append(out, field_);
        append(out, payload_);
        out.resize(188, 0xFF);
        return out;
    }

  private:
    int pid_;
    bool start_ = false;
    bool error_ = false;
    int scrambling_ = 0;
    int cc_ = -1;
    int afc_ = 1;
    Bytes field_;
    Bytes payload_;
};

// A table section from its bytes after section_length; length and CRC are added.
class Section {
  public:
    Section(int table_id, Bytes body) : table_id_(table_id), body_(std::move(body)) {}

    Section& break_crc() { return crc_damage_ = 1, *this; }
    // The fields of a long section's head.
    Section& version(int value) {
        return body_[2] = static_cast<uint8_t>((body_[2] & ~0x3E) | (value << 1)), *this;
    }
    Section& not_current() { return body_[2] &= 0xFE, *this; }
    Section& number(int value, int last) {
        body_[3] = static_cast<uint8_t>(value);
        return body_[4] = static_cast<uint8_t>(last), *this;
    }
    // Fills up to a section_length, so that the CRC of everything before it is 0.
    Section& with_zero_crc(size_t section_length) {
        body_.resize(section_length - 8, 0);
        length_ = static_cast<int>(section_length);
        append32(body_, crc(head()));
        return *this;
    }

    Bytes build() const {
        Bytes out = head();
        append32(out, crc(out) ^ crc_damage_);
        return out;
    }
    operator Bytes() const { return build(); }

  private:
    static uint32_t crc(const Bytes& bytes) {
        return zvcrc_api_CRC32(bytes.data(), static_cast<int>(bytes.size()));
    }
    Bytes head() const {
        Bytes out{static_cast<uint8_t>(table_id_)};
        const int honest = static_cast<int>(body_.size()) + 4;
        append16(out, 0xB000 | (length_ != 0 ? length_ : honest));
        append(out, body_);
        return out;
    }

    int table_id_;
    Bytes body_;
    int length_ = 0;
    uint32_t crc_damage_ = 0;
};

// identifier, version 0 and current, section 0 of 0
inline Bytes table_head(int identifier) {
    Bytes head;
    append16(head, identifier);
    append(head, {0xC1, 0, 0});
    return head;
}

using ProgramList = std::vector<std::pair<int, int>>;  // program_number, PMT PID

inline Section pat(const ProgramList& programs) {
    Bytes body = table_head(1);
    for (const auto& [number, pid] : programs) {
        append16(body, number);
        append16(body, 0xE000 | pid);
    }
    return Section(0x00, body);
}

struct PmtStream {
    int type, pid;
    Bytes descriptors = {};
    int claimed_length = -1;  // of the descriptors; negative: as long as they are
};

inline Section pmt(int program_number, int pcr_pid, const std::vector<PmtStream>& streams) {
    Bytes body = table_head(program_number);
    append16(body, 0xE000 | pcr_pid);
    append16(body, 0xF000);
    for (const PmtStream& stream : streams) {
        const int length = static_cast<int>(stream.descriptors.size());
        body.push_back(static_cast<uint8_t>(stream.type));
        append16(body, 0xE000 | stream.pid);
        append16(body, 0xF000 | (stream.claimed_length < 0 ? length : stream.claimed_length));
        append(body, stream.descriptors);
    }
    return Section(0x02, body);
}

struct SdtService {
    int id, type;
    std::string_view provider, name;
    int length_lie = 0;  // added to descriptors_loop_length
};

inline Section sdt(const std::vector<SdtService>& services) {
    Bytes body = table_head(1);
    append(body, {0xFF, 0x01, 0xFF});
    for (const SdtService& service : services) {
        const size_t names = service.provider.size() + service.name.size();
        append16(body, service.id);
        body.push_back(0xFC);
        append16(body, 0x8000 | (static_cast<int>(names) + 5 + service.length_lie));
        append(body, {0x48, static_cast<uint8_t>(names + 3), static_cast<uint8_t>(service.type)});
        body.push_back(static_cast<uint8_t>(service.provider.size()));
        body.insert(body.end(), service.provider.begin(), service.provider.end());
        body.push_back(static_cast<uint8_t>(service.name.size()));
        body.insert(body.end(), service.name.begin(), service.name.end());
    }
    return Section(0x42, body);
}

// A section without section_syntax_indicator, and so without CRC.
inline Bytes short_section(int table_id, const Bytes& body) {
    Bytes out{static_cast<uint8_t>(table_id)};
    append16(out, 0x7000 | static_cast<int>(body.size()));
    append(out, body);
    return out;
}

inline Bytes descriptor(int tag, const Bytes& bytes) {
    Bytes out{static_cast<uint8_t>(tag), static_cast<uint8_t>(bytes.size())};
    append(out, bytes);
    return out;
}

class PesHeader {
  public:
    explicit PesHeader(int stream_id) : stream_id_(stream_id) {}

    PesHeader& pts(uint64_t ticks) {
        return put(9, dts_ ? 0x31 : 0x21, ticks), flags_ |= 0x80, *this;
    }
    PesHeader& dts(uint64_t ticks) {
        dts_ = true;
        bytes_[9] |= 0x10;
        return put(14, 0x11, ticks), flags_ |= 0x40, *this;
    }
    PesHeader& packet_length(int bytes) { return packet_length_ = bytes, *this; }
    PesHeader& header_length(int bytes) { return header_length_ = bytes, *this; }
    PesHeader& aligned() { return aligned_ = 4, *this; }
    PesHeader& break_marker(size_t at) { return bytes_[at] &= 0xFE, *this; }

    Bytes build() const {
        Bytes out = bytes_;
        out[2] = 1;
        out[3] = static_cast<uint8_t>(stream_id_);
        store16(out, 4, packet_length_);
        out[6] = static_cast<uint8_t>(0x80 | aligned_);
        out[7] = static_cast<uint8_t>(flags_);
        out[8] = static_cast<uint8_t>(header_length_);
        return out;
    }
    operator Bytes() const { return build(); }

  private:
    void put(size_t at, int prefix, uint64_t ticks) {
        bytes_[at] = static_cast<uint8_t>(prefix | static_cast<int>((ticks >> 29) & 0x0E));
        store16(bytes_, at + 1, static_cast<int>((ticks >> 14) & 0xFFFE) | 1);
        store16(bytes_, at + 3, static_cast<int>((ticks << 1) & 0xFFFE) | 1);
    }

    int stream_id_;
    int flags_ = 0;
    bool dts_ = false;
    int packet_length_ = 0;
    int header_length_ = 10;
    int aligned_ = 0;
    Bytes bytes_ = Bytes(19, 0);
};

class TsStream {
  public:
    TsStream& add(TsPacket packet) {
        if (!packet.numbered()) {
            int& cc = next_cc_[packet.pid()];
            packet.cc(packet.counts() ? cc++ : cc - 1);
        }
        append(bytes_, packet.build());
        return *this;
    }
    TsStream& add(int pid, int count) {
        while (count-- > 0)
            add(TsPacket(pid));
        return *this;
    }
    // A section of any size on a PID, in packets of its own.
    TsStream& add_section(int pid, const Bytes& section) {
        Bytes bytes{0};
        append(bytes, section);
        for (size_t at = 0; at < bytes.size(); at += 184) {
            TsPacket packet(pid);
            if (at == 0) packet.start();
            const auto end =
                bytes.begin() + static_cast<ptrdiff_t>(std::min(at + 184, bytes.size()));
            add(packet.payload(Bytes(bytes.begin() + static_cast<ptrdiff_t>(at), end)));
        }
        return *this;
    }
    // Loses packets of a PID.
    TsStream& skip(int pid, int count) { return next_cc_[pid] += count, *this; }

    const Bytes& bytes() const { return bytes_; }
    operator const Bytes&() const { return bytes_; }

  private:
    Bytes bytes_;
    std::map<int, int> next_cc_;
};

inline constexpr int kPmtPid = 0x1000, kVideoPid = 0x100, kAudioPid = 0x101, kSdtPid = 0x11;

inline TsPacket pat_packet(const ProgramList& programs) {
    return TsPacket(0).section(pat(programs));
}

// All tables of one programme: h264 with the PCR, aac, a service.
inline TsStream one_programme() {
    TsStream stream;
    stream.add(pat_packet({{1, kPmtPid}}));
    stream.add(TsPacket(kPmtPid).section(
        pmt(1, kVideoPid, {{0x1B, kVideoPid}, {0x0F, kAudioPid, {0x0A, 4, 'e', 'n', 'g', 0}}})));
    stream.add(TsPacket(kSdtPid).section(sdt({{1, 1, "Makers", "Channel"}})));
    return stream;
}

}  // namespace zvtest
