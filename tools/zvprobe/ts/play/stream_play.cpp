// SPDX-License-Identifier: MIT
// Implementation of stream_play.h.
#include "ts/play/stream_play.h"

#include <algorithm>
#include <cmath>

#include "ts/survey_run.h"

namespace zvprobe {
namespace {

constexpr double kTicksPerSecond = 27e6;

}  // namespace

bool StreamPlay::play(Source& source) {
    SurveyRun survey({[this](const ZvSurveyEvent& event) {
                          if (first_pass_ && callbacks_.on_event) callbacks_.on_event(event);
                      },
                      [this](std::span<const uint8_t> packets, size_t packet_size,
                             uint64_t offset) { take(packets, packet_size, offset); },
                      [this](const ZvSurveyTimeLine& line) { take(line); }});
    fed_ = end_ = 0;
    last_line_.reset();
    if (source.origin() == Source::Origin::kPipe) source.expect_live();
    for (auto window = source.next(0);; window = source.next(0)) {
        const bool last = source.at_end();
        fed_ += window.size();
        survey.feed(window, false);
        if (last || stopped() || callbacks_.stop()) break;
        // The first window is long enough to tell that this is no transport stream.
        if (survey.totals().packets == 0) return false;
    }
    survey.finish();
    return survey.totals().packets > 0;
}

void StreamPlay::take(std::span<const uint8_t> packets, size_t packet_size, uint64_t offset) {
    packets_.clear();
    for (size_t at = 0; at < packets.size(); at += packet_size) {
        const auto packet = packets.subspan(at, zv::kTsPacketSize);
        packets_.insert(packets_.end(), packet.begin(), packet.end());
        repeat_.rewrite(std::span(packets_).last<zv::kTsPacketSize>());
    }
    end_ = offset + packets.size();
    pacer_.take(packets_, base_ + offset, packet_size);
}

// The last line of a pass has no end of its own.
void StreamPlay::take(ZvSurveyTimeLine line) {
    last_line_ = line;
    line.end = base_ + (line.end == UINT64_MAX ? fed_ - 1 : line.end);
    line.offset += base_;
    line.time_s += static_cast<double>(repeat_.offset()) / kTicksPerSecond;
    pacer_.take(line);
}

bool StreamPlay::prepare_next() {
    if (!last_line_) return false;
    const auto bytes = static_cast<double>(static_cast<int64_t>(end_ - last_line_->offset));
    const double duration_s = last_line_->time_s + bytes * last_line_->s_per_byte;
    repeat_.begin_pass(static_cast<uint64_t>(std::llround(duration_s * kTicksPerSecond)));
    base_ += fed_;
    first_pass_ = false;
    return true;
}

}  // namespace zvprobe
