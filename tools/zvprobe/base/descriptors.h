// SPDX-License-Identifier: MIT
// File descriptors as the tool meets them: the standard ones, which may be closed when it starts,
// and those that accept only a part of what is written.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

namespace zvprobe {

// Occupies 0, 1 and 2 where they are closed, so that no file or socket of the tool gets such a
// number and is taken for standard input or output. Reading and writing them fails as before.
void occupy_standard_descriptors();

// Raises the limit of descriptors as far as the process may.
// -> how many it may have now
uint64_t raise_descriptor_limit();

// Writes all of it, waiting where a non-blocking descriptor has no room.
// gives_up  asked after each signal and each partial write: true ends it
// -> 0 or an errno, EINTR when it gave up
int write_all(int fd, std::span<const uint8_t> bytes, const std::function<bool()>& gives_up);

}  // namespace zvprobe
