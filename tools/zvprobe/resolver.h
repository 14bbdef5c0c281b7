// SPDX-License-Identifier: MIT
// The library's transport stream resolver, as any host uses it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "bitStream.h"
#include "mpegts.h"

namespace zvprobe {

class Resolver {
  public:
    // name: label for the library's log lines. Throws std::bad_alloc.
    explicit Resolver(const std::string& name);
    ~Resolver();
    Resolver(const Resolver&) = delete;
    Resolver& operator=(const Resolver&) = delete;

    // Analyses whole packets; -> false when one of them lacks its sync byte.
    bool parse(const uint8_t* packets, size_t size, uint32_t options);

    // Fills the record; -> false while not all tables are known (its progress text may be set).
    bool update(StreamInfo& info);

  private:
    const AVParser* parser_;
    void* context_ = nullptr;
};

// The library's own line about a stream; empty when no programme is known.
// with_periods: with the arrival periods of the tables, which depend on the speed of reading
std::string stream_info_line(const StreamInfo& info, bool with_periods);

}  // namespace zvprobe
