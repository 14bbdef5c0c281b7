// SPDX-License-Identifier: MIT
// The parity of 204-byte packets: the shortened Reed-Solomon code RS(204,188) of ETSI EN 300 421,
// 4.4.2. A packet that is changed needs a new one, or a receiver "corrects" the change away.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace zvprobe {

using Parity = std::array<uint8_t, 16>;

Parity rs_parity(std::span<const uint8_t, 188> packet);

}  // namespace zvprobe
