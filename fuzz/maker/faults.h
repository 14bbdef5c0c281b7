// SPDX-License-Identifier: MIT
// What can happen to packets on their way, and to the bytes around them.
#pragma once

#include "chooser.h"
#include "model.h"

namespace fuzz::maker {

void add_packet_faults(std::vector<Bytes>& packets, Chooser& choose);

// One piece of 188, 192 or 204 bytes a packet, joined, with faults of sync.
std::vector<uint8_t> join(const std::vector<Bytes>& packets, Chooser& choose);

}  // namespace fuzz::maker
