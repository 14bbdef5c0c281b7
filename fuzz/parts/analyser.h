// SPDX-License-Identifier: MIT
// One run of the analyser: a context, what it reported, and comparisons of two runs.
#pragma once

#include "mpeg/mpegts/context.h"
#include "parts/input.h"

namespace fuzz {

// Room that a host has to give mpegts_api_getStreamInfo.
constexpr size_t kInfoRoom = size_t{16} << 10;

class Analyser {
  public:
    // Starts the clock anew. name: of the context
    explicit Analyser(const char* name);
    ~Analyser();
    Analyser(const Analyser&) = delete;
    Analyser& operator=(const Analyser&) = delete;

    MPEGTSContext* context() { return context_; }

    // Gives the resolver a copy of the bytes, and looks that it left them as they were.
    int parse(std::span<const uint8_t> bytes, uint32_t options);

    // What a host asks for: the record, the line, the statistics.
    void report();

    // Stops when the two differ in anything but what the library derives for speed.
    void require_same_context(Analyser& other);
    // Also the reports made last.
    void require_same_report(Analyser& other);

  private:
    MPEGTSContext* context_ = nullptr;
    std::unique_ptr<StreamInfo> info_;
    ExactBytes line_{kInfoRoom};
};

}  // namespace fuzz
