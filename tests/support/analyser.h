// SPDX-License-Identifier: MIT
// One context of the analyser for the length of a test.
#pragma once

#include "mpeg/mpegts/context.h"
#include "support/ts_builder.h"

namespace zvtest {

class Analyser {
  public:
    explicit Analyser(const char* name = "cam") { mpegts_init(&context_, name, nullptr); }
    ~Analyser() { mpegts_deinit(&context_); }
    Analyser(const Analyser&) = delete;
    Analyser& operator=(const Analyser&) = delete;

    int parse(const Bytes& bytes, uint32_t flags = 0) {
        return mpegts_parse(context_, bytes.data(), static_cast<int>(bytes.size()), flags);
    }
    int parse(const TsPacket& packet, uint32_t flags = 0) { return parse(packet.build(), flags); }
    int update(StreamInfo& info) { return mpegts_updateInfo(context_, &info); }

    MPEGTSContext* get() { return context_; }
    MPEGTSContext* operator->() { return context_; }

  private:
    MPEGTSContext* context_ = nullptr;
};

}  // namespace zvtest
