// SPDX-License-Identifier: MIT
// Transport packets for the targets: mutated bytes made presentable, and streams built from a few
// bytes, so that the fuzzer gets past sync bytes and checksums.
#pragma once

#include <vector>

#include "parts/input.h"

namespace fuzz {

// Writes the CRC_32 that the analyser will look for when the packet starts a table section.
void repair_crc(uint8_t* packet);

// The bytes as they are.
std::vector<uint8_t> any_bytes(std::span<const uint8_t> bytes);

// Whole packets of `packet_size` bytes, each with its sync byte and, where asked for, a good CRC.
std::vector<uint8_t> whole_packets(std::span<const uint8_t> bytes, size_t packet_size,
                                   bool repair_crcs);

// A stream of 188-byte packets whose tables are valid; what follows them is chosen by the input:
// tables again, streams in and out of order, PCRs, PES headers, foreign and null packets.
std::vector<uint8_t> make_stream(ByteSource& in);

}  // namespace fuzz
