// SPDX-License-Identifier: MIT
// The survey of a transport stream worked out slowly, in plain passes over the whole input: what
// tests and fuzz targets compare the library's one-pass answers with.
#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string_view>

namespace fuzz {

// The `mpegts` object of an offline reading, without what needs a decoder or a table of names:
// codec, kind, details, now, names of tables and of service types, events, resolver. A PID whose
// kind only its content tells has no `use`.
// -> null when the bytes are no transport stream
nlohmann::ordered_json survey_reference(std::span<const uint8_t> bytes);

// What it says of time only; several times as fast.
struct ReferenceTiming {
    struct Count {
        uint64_t count;
        double first_s, last_s;  // where there is a clock
    };
    bool has_clock;
    uint16_t pcr_pid;  // this and what follows: of the clock
    std::optional<bool> constant_rate;
    bool undecided;  // the last digits of a product decide whether the rate is constant
    double bit_rate_bps, duration_s;
    std::map<std::string_view, Count> indicators;  // those that counted, by id
};

// -> nothing when the bytes are no transport stream
std::optional<ReferenceTiming> survey_reference_timing(std::span<const uint8_t> bytes);

}  // namespace fuzz
