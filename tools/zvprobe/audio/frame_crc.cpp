// SPDX-License-Identifier: MIT
// Implementation of frame_crc.h. What is protected differs by layer: the allocation of bits (I),
// with the selection of scale factors (II), or the side information (III); and always the header's
// last two bytes.
#include "audio/frame_crc.h"

#include <algorithm>
#include <array>

#include "base/bytes.h"

namespace zvprobe {
namespace {

using Mode = MpegAudioHeader::Mode;
using Version = MpegAudioHeader::Version;

constexpr size_t kCrcSize = 2;
constexpr size_t kAfterCrc = MpegAudioHeader::kSize + kCrcSize;
constexpr size_t kSubbands = 32;

class BitReader {
  public:
    explicit BitReader(std::span<const uint8_t> bytes) : bytes_(bytes) {}

    uint32_t read(size_t count) {
        uint32_t value = 0;
        for (; count > 0; --count, ++at_)
            value = value << 1 | next_bit();
        return value;
    }

  private:
    // -> the bit at at_, 0 after the end
    uint32_t next_bit() const {
        if (at_ / 8 >= bytes_.size()) return 0;
        return static_cast<uint32_t>(bytes_[at_ / 8]) >> (7 - at_ % 8) & 1;
    }

    std::span<const uint8_t> bytes_;
    size_t at_ = 0;
};

// Bits of the allocation in Layer II: so many in each subband below `end`.
struct AllocationRun {
    size_t end;
    size_t bits;
};
using Allocation = std::array<AllocationRun, 3>;

constexpr Allocation kTableA = {{{11, 4}, {23, 3}, {27, 2}}};  // ISO/IEC 11172-3, B.2a
constexpr Allocation kTableB = {{{11, 4}, {23, 3}, {30, 2}}};
constexpr Allocation kTableC = {{{2, 4}, {8, 3}, {8, 3}}};
constexpr Allocation kTableD = {{{2, 4}, {12, 3}, {12, 3}}};
constexpr Allocation kTableLow = {{{4, 4}, {11, 3}, {30, 2}}};  // ISO/IEC 13818-3, B.1

size_t channels(const MpegAudioHeader& header) {
    return header.mode == Mode::kMono ? 1 : 2;
}

const Allocation& allocation_of(const MpegAudioHeader& header, bool free) {
    constexpr uint32_t kRate32 = 32000, kRate48 = 48000;
    if (header.version != Version::k1) return kTableLow;
    const size_t each = header.bitrate / channels(header);
    if (free || each > 80) return header.sample_rate == kRate48 ? kTableA : kTableB;
    if (each > 48) return kTableA;
    return header.sample_rate == kRate32 ? kTableD : kTableC;
}

// -> the subband from which on both channels share their allocation
size_t joint_bound(const MpegAudioHeader& header, uint8_t last_header_byte) {
    if (header.mode != Mode::kJointStereo) return kSubbands;
    return 4 + 4 * static_cast<size_t>(last_header_byte >> 4 & 3);
}

size_t protected_bits_1(const MpegAudioHeader& header, uint8_t last_header_byte) {
    constexpr size_t kBits = 4;
    if (channels(header) == 1) return kSubbands * kBits;
    return (kSubbands + joint_bound(header, last_header_byte)) * kBits;
}

// Each channel of a subband that has any bits says in two more how its scale factors are coded.
size_t protected_bits_2(const MpegAudioHeader& header, std::span<const uint8_t> frame) {
    constexpr size_t kSelection = 2;
    const bool free = (frame[2] & 0xF0) == 0;
    const size_t bound = joint_bound(header, frame[3]);
    BitReader reader(frame.subspan(kAfterCrc));
    size_t bits = 0, band = 0;
    for (const AllocationRun& run : allocation_of(header, free)) {
        for (; band < run.end; ++band) {
            const size_t shared = band < bound ? 1 : channels(header);
            for (size_t i = 0; i < channels(header) / shared; ++i) {
                bits += run.bits;
                if (reader.read(run.bits) != 0) bits += kSelection * shared;
            }
        }
    }
    return bits;
}

size_t protected_bits(const MpegAudioHeader& header, std::span<const uint8_t> frame) {
    if (header.layer == 1) return protected_bits_1(header, frame[3]);
    if (header.layer == 2) return protected_bits_2(header, frame);
    return side_info_size(header) * 8;
}

constexpr auto kForward = [] {
    std::array<uint16_t, 256> table = {};
    for (size_t i = 0; i < table.size(); ++i) {
        auto value = static_cast<uint32_t>(i << 8);
        for (int bit = 0; bit < 8; ++bit)
            value = value << 1 ^ ((value & 0x8000) != 0 ? 0x8005U : 0);
        table[i] = static_cast<uint16_t>(value);
    }
    return table;
}();

uint16_t forward_crc(uint16_t start, std::span<const uint8_t> bytes, size_t bits) {
    uint32_t value = start;
    for (const uint8_t byte : bytes.first(bits / 8))
        value = (value << 8 ^ kForward[(value >> 8 ^ byte) & 0xFF]) & 0xFFFF;
    for (size_t i = 0; i < bits % 8; ++i) {
        const uint32_t bit = static_cast<uint32_t>(bytes[bits / 8] >> (7 - i) & 1);
        value = (value << 1 ^ ((value >> 15 ^ bit) != 0 ? 0x8005U : 0)) & 0xFFFF;
    }
    return static_cast<uint16_t>(value);
}

constexpr size_t kSlices = 8;

// kReflected[k][i]: what byte i does to the CRC with k bytes after it.
constexpr auto kReflected = [] {
    std::array<std::array<uint16_t, 256>, kSlices> tables = {};
    for (size_t i = 0; i < 256; ++i) {
        auto value = static_cast<uint32_t>(i);
        for (int bit = 0; bit < 8; ++bit)
            value = value >> 1 ^ ((value & 1) != 0 ? 0xA001U : 0);
        tables[0][i] = static_cast<uint16_t>(value);
    }
    for (size_t k = 1; k < kSlices; ++k)
        for (size_t i = 0; i < 256; ++i) {
            const uint16_t before = tables[k - 1][i];
            tables[k][i] = static_cast<uint16_t>(before >> 8 ^ tables[0][before & 0xFF]);
        }
    return tables;
}();

}  // namespace

size_t side_info_size(const MpegAudioHeader& header) {
    const bool mono = header.mode == Mode::kMono;
    if (header.version == Version::k1) return mono ? 17 : 32;
    return mono ? 9 : 17;
}

std::optional<FrameCrc> check_frame_crc(const MpegAudioHeader& header,
                                        std::span<const uint8_t> frame) {
    constexpr uint16_t kStart = 0xFFFF;
    if (!header.crc || frame.size() < kAfterCrc) return std::nullopt;
    const size_t bits = protected_bits(header, frame);
    if (frame.size() < kAfterCrc + (bits + 7) / 8) return std::nullopt;
    const uint16_t of_header = forward_crc(kStart, frame.subspan(2, 2), 16);
    return FrameCrc{static_cast<uint16_t>(big_endian(frame.subspan(MpegAudioHeader::kSize, 2))),
                    forward_crc(of_header, frame.subspan(kAfterCrc), bits)};
}

void InfoCrc::take(std::span<const uint8_t> bytes) {
    uint32_t value = value_;
    for (; bytes.size() >= kSlices; bytes = bytes.subspan(kSlices)) {
        const uint32_t mixed = value ^ (uint32_t{bytes[0]} | uint32_t{bytes[1]} << 8);
        value = kReflected[7][mixed & 0xFF] ^ kReflected[6][mixed >> 8] ^ kReflected[5][bytes[2]] ^
                kReflected[4][bytes[3]] ^ kReflected[3][bytes[4]] ^ kReflected[2][bytes[5]] ^
                kReflected[1][bytes[6]] ^ kReflected[0][bytes[7]];
    }
    for (const uint8_t byte : bytes)
        value = value >> 8 ^ kReflected[0][(value ^ byte) & 0xFF];
    value_ = static_cast<uint16_t>(value);
}

}  // namespace zvprobe
