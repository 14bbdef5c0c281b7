// SPDX-License-Identifier: MIT
// One packet in sync: what its header, its adaptation field and the start of a PES packet say
// (ISO/IEC 13818-1, 2.4.3). Nothing outside its 188 bytes is read.
#pragma once

#include <cstring>
#include <optional>
#include <span>

#include "mpeg/ts_packet/packet_fields.h"
#include "mpeg/ts_packet/pes_header.h"

namespace zv::survey {

constexpr uint8_t kDiscontinuityFlag = 0x80;
constexpr uint8_t kRandomAccessFlag = 0x40;
constexpr size_t kPcrField = 6;  // the place of the PCR, where there is one
constexpr size_t kPcrFieldSize = 6;
constexpr size_t kPtsEnd = 14;  // of a PES header's fields
constexpr size_t kDtsEnd = 19;
constexpr uint8_t kPtsFieldSize = 5;
constexpr uint8_t kBothFieldsSize = 10;

class Packet {
  public:
    explicit Packet(const uint8_t* bytes) : bytes_(bytes), head_{load_be32(bytes)} {}

    const uint8_t* bytes() const { return bytes_; }
    HeaderWord head() const { return head_; }
    uint16_t pid() const { return head_.pid(); }
    bool scrambled() const { return head_.transport_scrambling_control() != 0; }
    bool starts_unit() const { return has_payload() && head_.payload_unit_start_indicator(); }

    // Also when the adaptation field leaves no room for a payload.
    bool has_payload() const { return head_.has_payload(); }

    // -> the flags of the adaptation field, 0 where there is none
    uint8_t adaptation_flags() const {
        return head_.has_adaptation_field() && bytes_[4] > 0 ? bytes_[5] : 0;
    }
    bool discontinuity() const { return adaptation_flags() & kDiscontinuityFlag; }
    bool random_access() const { return adaptation_flags() & kRandomAccessFlag; }

    bool has_pcr() const {
        return head_.has_adaptation_field() && covers_pcr(bytes_ + kTsHeaderSize);
    }
    uint64_t pcr() const { return load_pcr(bytes_ + kPcrField); }

    std::span<const uint8_t> payload() const { return payload_of(bytes_, head_); }

    // Do both have the same bytes, but for the PCR? That is what a duplicate is (2.4.3.3).
    bool repeats(const uint8_t* other) const {
        if (!has_pcr()) return std::memcmp(bytes_, other, kTsPacketSize) == 0;
        constexpr size_t kAfterPcr = kPcrField + kPcrFieldSize;
        return std::memcmp(bytes_, other, kPcrField) == 0 &&
               std::memcmp(bytes_ + kAfterPcr, other + kAfterPcr, kTsPacketSize - kAfterPcr) == 0;
    }

  private:
    const uint8_t* bytes_;
    HeaderWord head_;
};

// The time stamps of a PES packet, in 90 kHz ticks.
struct TimeStamps {
    uint64_t pts;
    uint64_t decoding;  // when the unit is decoded: the DTS, where there is one
    bool has_dts;
};

// -> the time stamps of the PES packet that `payload` begins with, when their fields are whole
inline std::optional<TimeStamps> read_time_stamps(std::span<const uint8_t> payload) {
    const uint8_t* const p = payload.data();
    if (payload.size() < kPtsEnd) return std::nullopt;
    if (!pes_validate(p) || !pes_has_optional_header(p[3]) || !pes_validate_header(p))
        return std::nullopt;
    if (!pes_has_pts(p) || pes_get_headerlength(p) < kPtsFieldSize) return std::nullopt;
    const uint64_t pts = pes_get_pts(p);
    const bool has_dts =
        pes_has_dts(p) && pes_get_headerlength(p) >= kBothFieldsSize && payload.size() >= kDtsEnd;
    return TimeStamps{pts, has_dts ? pes_get_dts(p) : pts, has_dts};
}

}  // namespace zv::survey
