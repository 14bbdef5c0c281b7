// SPDX-License-Identifier: MIT
// The library's transport stream resolver, as any host uses it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "bitStream.h"
#include "mpegts.h"

namespace zvprobe {

// What the resolver knows of a stream.
struct ResolverAccount {
    bool tables_complete = false;
    std::unique_ptr<StreamInfo> info = std::make_unique<StreamInfo>();

    std::span<const StreamInfoProgram> programs() const {
        const auto count = std::clamp<int32_t>(info->program_count, 0, ZV_TS_MAX_PROGRAMS);
        return {info->programs, static_cast<size_t>(count)};
    }
};

struct ContinuityTotals {
    uint64_t errors = 0;
    uint64_t lost = 0;
};

class Resolver {
  public:
    // name: label for the library's log lines. Throws std::bad_alloc.
    explicit Resolver(const std::string& name);
    ~Resolver();
    Resolver(const Resolver&) = delete;
    Resolver& operator=(const Resolver&) = delete;

    // Analyses whole packets in sync, the first of each `packet_size` bytes.
    void parse(std::span<const uint8_t> packets, size_t packet_size, uint32_t options);

    // -> what it knows so far
    ResolverAccount account();

  private:
    const AVParser* parser_;
    void* context_ = nullptr;
    bool begun_ = false;
    bool tables_complete_ = false;
    std::unique_ptr<StreamInfo> info_ = std::make_unique<StreamInfo>();
};

inline std::span<const StreamInfoEs> streams_of(const StreamInfoProgram& program) {
    const auto count = std::clamp<int8_t>(program.es_count, 0, ZV_TS_MAX_STREAMS);
    return {program.streams, static_cast<size_t>(count)};
}

// -> the name of a stream's kind
const char* kind_name(int32_t kind);

// Continuity errors and losses of all elementary streams.
ContinuityTotals continuity_totals(const ResolverAccount& account);

// The library's own line about a stream; empty when no programme is known.
// with_periods: with the arrival periods of the tables, which depend on the speed of reading
std::string stream_info_line(const StreamInfo& info, bool with_periods);

}  // namespace zvprobe
