// SPDX-License-Identifier: MIT
// A transport stream played by its own clock, the survey's: once, or pass after pass as one stream
// that goes on.
#pragma once

#include <functional>
#include <optional>

#include "io/source.h"
#include "ts/play/clock_pacer.h"
#include "ts/play/stream_repeat.h"
#include "zvsurvey.h"

namespace zvprobe {

struct StreamPlayCallbacks {
    ClockPacer::Send send;             // gets packets of 188 bytes when they are due
    ClockPacer::WaitUntil wait_until;  // stream time, 0 at the first packet of the first pass
    std::function<bool()> stop;        // asked while the source is read
    std::function<void(const ZvSurveyEvent& event)> on_event;  // of the first pass
};

class StreamPlay {
  public:
    explicit StreamPlay(StreamPlayCallbacks callbacks)
        : callbacks_(std::move(callbacks)), pacer_(callbacks_.send, callbacks_.wait_until) {}

    // Plays a source to its end; what comes last waits for the next pass, or for finish.
    // -> true when it had packets
    bool play(Source& source);

    // Another pass will follow. -> false when no clock told how long the one before was
    bool prepare_next();

    // No pass follows.
    void finish() { pacer_.finish(); }

    bool stopped() const { return pacer_.stopped(); }

  private:
    void take(std::span<const uint8_t> packets, size_t packet_size, uint64_t offset);
    void take(ZvSurveyTimeLine line);

    StreamPlayCallbacks callbacks_;
    ClockPacer pacer_;
    StreamRepeat repeat_;
    std::vector<uint8_t> packets_;               // of 188 bytes, rewritten
    uint64_t base_ = 0;                          // bytes of the passes before
    uint64_t fed_ = 0;                           // bytes of this pass
    uint64_t end_ = 0;                           // of its last packet
    std::optional<ZvSurveyTimeLine> last_line_;  // of this pass
    bool first_pass_ = true;
};

}  // namespace zvprobe
