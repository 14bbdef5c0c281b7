// SPDX-License-Identifier: MIT
// The survey of a transport stream worked out slowly, in plain passes over the whole input: what
// tests and fuzz targets compare the library's one-pass answers with.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>

namespace fuzz {

// The `mpegts` object of an offline reading, without what needs a decoder or a table of names:
// codec, kind, details, now, names of tables and of service types, events, resolver. A PID whose
// kind only its content tells has no `use`.
// -> null when the bytes are no transport stream
nlohmann::ordered_json survey_reference(std::span<const uint8_t> bytes);

}  // namespace fuzz
