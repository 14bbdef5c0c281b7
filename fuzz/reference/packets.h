// SPDX-License-Identifier: MIT
// First two passes of the reference survey: where the packets are, and what each says by itself and
// after the one before it on its PID.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <vector>

namespace fuzz::reference {

using Bytes = std::span<const uint8_t>;

constexpr uint16_t kNullPid = 0x1FFF;
constexpr size_t kPidCount = 0x2000;
constexpr size_t kPacketBytes = 188;  // from the sync byte on, whatever stands around them

struct Packet {
    uint64_t offset;  // of the sync byte
    Bytes bytes;
    uint16_t pid;
    uint8_t counter;
    bool transport_error;
    bool unit_start;
    bool scrambled;
    bool has_payload;  // as adaptation_field_control says; it may be empty
    bool discontinuity;
    bool random_access;
    std::optional<uint64_t> pcr;
    Bytes payload;

    // Set by watch_continuity.
    bool duplicate = false;
    bool continuity_error = false;
    bool drops_section = false;
};

struct Loss {
    uint64_t offset;
    uint64_t skipped_bytes;
};

struct Framing {
    size_t packet_size = 0;
    uint64_t bytes = 0;
    uint64_t first_sync_offset = 0;
    uint64_t leading_bytes = 0;  // skipped before the first packet, part of skipped_bytes
    uint64_t skipped_bytes = 0;
    uint64_t trailing_bytes = 0;
    std::vector<uint64_t> byte_errors;
    std::vector<Loss> losses;
    std::vector<Packet> packets;
};

// -> nothing when this is no transport stream
std::optional<Framing> read_framing(Bytes bytes);

struct Pcr {
    uint64_t offset;
    uint64_t value;
    uint64_t step = 0;  // since the PCR before, modulo the range; 0 for the first
    bool first = false;
    bool signalled = false;  // discontinuity_indicator
    bool jump = false;       // goes back, or on by more than a second

    bool sound() const { return !first && !signalled && !jump; }
};

struct TimeStamps {
    uint64_t offset;
    uint64_t pts;
    std::optional<uint64_t> dts;
};

struct PidFacts {
    uint64_t packets = 0;
    uint64_t scrambled_packets = 0;
    uint64_t transport_errors = 0;
    uint64_t unit_starts = 0;
    uint64_t random_access_points = 0;
    uint64_t errors = 0;
    uint64_t lost = 0;
    uint64_t duplicates = 0;
    uint64_t signalled = 0;
    uint64_t first_offset = 0;
    uint64_t last_offset = 0;
    std::vector<Pcr> pcrs;
    std::vector<TimeStamps> time_stamps;
};

using Pids = std::map<uint16_t, PidFacts>;

// Fills in what continuity says of each packet, and gathers what belongs to a PID.
Pids watch_continuity(std::vector<Packet>& packets);

constexpr uint64_t kPcrRange = (uint64_t{1} << 33) * 300;
constexpr uint64_t kTicksPerSecond = 27'000'000;

// -> the time stamps of the PES packet that starts here, if the packet holds them whole
std::optional<TimeStamps> time_stamps_of(const Packet& packet);

}  // namespace fuzz::reference
