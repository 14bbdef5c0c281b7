// SPDX-License-Identifier: MIT
// Implementation of ts_sync.h. Every place costs a bounded number of looks, so any input is
// searched in linear time.
#include "ts/ts_sync.h"

#include <array>

#include "base/bytes.h"

namespace zvprobe {
namespace {

// Ties go to the first, as in the library's own detection.
constexpr std::array kPacketSizes = {kPacketSize, kTimedPacketSize, kParityPacketSize};

enum class Run { kNo, kYes, kNeedsMore };

// Is there a run of packet starts from `first` on? At the end of the input, one up to the end will
// do if it holds a packet.
Run run_at(std::span<const uint8_t> bytes, size_t first, size_t packet_size, bool last) {
    for (size_t k = 0; k < kSyncRun; ++k) {
        const size_t at = first + k * packet_size;
        if (at >= bytes.size()) {
            if (!last) return Run::kNeedsMore;
            return first + kPacketSize <= bytes.size() ? Run::kYes : Run::kNo;
        }
        if (bytes[at] != kSyncByte) return Run::kNo;
    }
    return Run::kYes;
}

struct Found {
    size_t offset;
    Run run;
};

// The first byte of a time code can be 0x47 for many packets. When both columns look like starts,
// the later one is right: the byte behind a packet header hardly ever repeats that value.
Found check(std::span<const uint8_t> bytes, size_t at, size_t packet_size, bool last) {
    const Run run = run_at(bytes, at, packet_size, last);
    if (run == Run::kNo || packet_size != kTimedPacketSize) return {at, run};
    const Run behind = run_at(bytes, at + kTimeCodeSize, packet_size, last);
    return behind == Run::kNo ? Found{at, run} : Found{at + kTimeCodeSize, behind};
}

std::optional<SyncPoint> find_long_run(std::span<const uint8_t> bytes) {
    for (size_t at = find_byte(bytes, kSyncByte, 0); at < bytes.size();
         at = find_byte(bytes, kSyncByte, at + 1)) {
        for (const size_t size : kPacketSizes) {
            const Found found = check(bytes, at, size, false);
            if (found.run == Run::kYes) return SyncPoint{found.offset, size};
        }
    }
    return std::nullopt;
}

// A text may begin with a 'G' as well, but hardly goes on like a packet header: no transport error,
// scrambling control not the reserved 01, adaptation field control not the reserved 00.
bool plausible_header(const uint8_t* packet) {
    return (packet[1] & 0x80) == 0 && (packet[3] & 0xC0) != 0x40 && (packet[3] & 0x30) != 0;
}

std::optional<SyncPoint> find_short_run(std::span<const uint8_t> bytes) {
    for (const size_t size : kPacketSizes) {
        const size_t at = size == kTimedPacketSize ? kTimeCodeSize : 0;
        if (bytes.size() < size) continue;
        if (run_at(bytes, at, size, true) == Run::kYes && plausible_header(bytes.data() + at))
            return SyncPoint{at, size};
    }
    return std::nullopt;
}

}  // namespace

std::optional<SyncPoint> find_first_packet(std::span<const uint8_t> bytes, bool whole) {
    const auto found = find_long_run(bytes);
    return found || !whole ? found : find_short_run(bytes);
}

Resync find_next_packet(std::span<const uint8_t> bytes, size_t from, size_t packet_size,
                        bool last) {
    for (size_t at = find_byte(bytes, kSyncByte, from); at < bytes.size();
         at = find_byte(bytes, kSyncByte, at + 1)) {
        const Found found = check(bytes, at, packet_size, last);
        if (found.run == Run::kYes) return {found.offset, true};
        if (found.run == Run::kNeedsMore) return {at, false};
    }
    return {bytes.size(), false};
}

}  // namespace zvprobe
