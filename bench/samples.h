// SPDX-License-Identifier: MIT
// The sample files of tests/media, and the walks over them that are timed and counted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "flv.h"

namespace zvbench {

using Bytes = std::vector<uint8_t>;

std::string sample_path(const char* name);

// The process ends when the file is missing.
Bytes load_sample(const char* name);

// A sample of 188-byte packets, again and again: at least min_bytes in whole repetitions.
Bytes repeat_sample(const char* name, size_t min_bytes);

// Offers every tag of a file to the probe, as a host that walks a file does. -> tags offered
unsigned walk_flv(const Bytes& file, FLVProbe& probe);

// Checks for a frame header at every byte. -> headers found
unsigned check_mpeg_audio(const Bytes& file);

}  // namespace zvbench
