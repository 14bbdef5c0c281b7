// SPDX-License-Identifier: MIT
// What a watch knows of one stream at one moment, as plain values: a view needs no survey, and may
// keep a moment while the stream goes on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zvprobe {

// How often something was counted.
struct WatchCount {
    uint64_t total = 0;   // since counting began
    uint64_t recent = 0;  // within the last interval
};

// Rates are NaN where they are not known.
struct PidSnapshot {
    uint16_t pid;
    std::string use;      // "pat", "video", ...
    std::string codec;    // empty: unknown, or no elementary stream
    int32_t program;      // the first that names the PID, or ZV_SURVEY_NONE
    double bit_rate_bps;  // in the last interval
    double share;         // of all packets in the last interval, 0 to 1
    bool scrambled;
    WatchCount errors;  // continuity, CRC and transport errors
};

struct ServiceSnapshot {
    uint16_t number;
    std::string name;  // empty: not described
    std::string provider;
    std::string now;  // title of the present event
    size_t streams;
    bool scrambled;
    double bit_rate_bps;  // of its PIDs, in the last interval
};

// An indicator of ETSI TR 101 290.
struct IndicatorSnapshot {
    std::string id;
    int32_t priority;
    bool measured;
    WatchCount count;
};

struct EventSnapshot {
    double time_s;  // NaN without a clock
    int32_t pid;    // or ZV_SURVEY_NONE
    std::string kind;
    std::string indicator;  // empty when it belongs to none
    std::string message;
};

struct StreamSnapshot {
    static constexpr size_t kMostServices = 256;
    static constexpr size_t kMostEvents = 100;

    std::string name;       // of the source
    double elapsed_s = 0;   // since the watch began
    double counted_s = 0;   // since counting began
    double interval_s = 0;  // length of the last interval
    double silent_s = 0;    // since bytes came
    double bit_rate_bps = 0;
    uint32_t packet_size = 0;
    uint64_t packets = 0;
    size_t programs = 0;  // which may be more than the services below
    WatchCount sync_losses, byte_errors, transport_errors, continuity_errors, packets_lost,
        crc_errors;
    std::vector<PidSnapshot> pids;              // ascending
    std::vector<ServiceSnapshot> services;      // in the order of the PAT, the first ones
    std::vector<IndicatorSnapshot> indicators;  // in the order of the standard
    std::vector<EventSnapshot> events;          // the last ones, latest first
};

}  // namespace zvprobe
