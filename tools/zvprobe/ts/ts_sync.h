// SPDX-License-Identifier: MIT
// Where do packets start? Finds runs of sync bytes (ISO/IEC 13818-1, 2.4.3.2) at the three packet
// sizes in use: 188 bytes, 192 with a time code in front, 204 with parity behind.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace zvprobe {

constexpr uint8_t kSyncByte = 0x47;
constexpr size_t kPacketSize = 188;  // what every packet has, whatever stands around it
constexpr size_t kTimedPacketSize = 192;
constexpr size_t kParityPacketSize = 204;
constexpr size_t kTimeCodeSize = kTimedPacketSize - kPacketSize;

// So many packet starts in a row are no accident: one in 10^12 places of random bytes.
constexpr size_t kSyncRun = 5;

struct SyncPoint {
    size_t offset;       // of the first sync byte
    size_t packet_size;  // from one sync byte to the next
};

// Looks for the first packet of an input.
// bytes  in  the beginning of the input
// whole  in  true when that is all of it: then a shorter run counts if it is the whole input
// -> nothing when this is no transport stream
std::optional<SyncPoint> find_first_packet(std::span<const uint8_t> bytes, bool whole);

struct Resync {
    size_t offset;  // of the next packet, or of the first byte that may still become one
    bool found;
};

// Looks for the next packet after sync was lost.
// from  in  where to begin
// last  in  true when the input ends with these bytes: then a run up to the end counts
Resync find_next_packet(std::span<const uint8_t> bytes, size_t from, size_t packet_size, bool last);

}  // namespace zvprobe
