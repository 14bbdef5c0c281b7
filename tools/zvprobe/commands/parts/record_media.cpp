// SPDX-License-Identifier: MIT
// Implementation of record_media.h.
#include "commands/parts/record_media.h"

#include <utility>

#include "render/audio/mpeg_audio_findings.h"
#include "render/flv/flv_finding_text.h"

namespace zvprobe {
namespace {

// The time of MPEG audio is that of its samples: seconds of the sections before, of other sampling
// rates, and what came since at the rate of now.
class SampleClock {
  public:
    // -> ms, when a frame begins; then counts it
    int64_t take(const MpegAudioHeader& header) {
        if (header.sample_rate != rate_) {
            before_s_ = now_s();
            samples_ = 0;
            rate_ = header.sample_rate;
        }
        const double begins = now_s();
        samples_ += header.samples();
        return static_cast<int64_t>(begins * 1000);
    }

  private:
    double now_s() const {
        return before_s_ + (rate_ == 0 ? 0 : static_cast<double>(samples_) / rate_);
    }

    double before_s_ = 0;
    uint64_t samples_ = 0;
    uint32_t rate_ = 0;
};

template <typename Finding>
std::function<void(const Finding&)> noting(MediaRecord& record,
                                           std::function<void(const Finding&)> told) {
    return [&record, told = std::move(told)](const Finding& finding) {
        record.note(finding.offset, finding_text(finding));
        if (told) told(finding);
    };
}

}  // namespace

void record_flv(MediaRecord& record, FlvProbeOptions& options) {
    options.on_finding = noting<FlvFinding>(record, std::move(options.on_finding));
    options.on_tag = [&record](const FlvTag& tag, const FlvTagFacts& facts) {
        if (!facts.frame) return;
        const auto track =
            tag.type == ZV_FLV_TAG_VIDEO ? MediaHistory::kVideo : MediaHistory::kAudio;
        record.history.add(track, facts.time, tag.data_len, facts.key_frame);
    };
}

void record_mpeg_audio(MediaRecord& record, MpegAudioProbeOptions& options) {
    options.on_finding = noting<MpegAudioFinding>(record, std::move(options.on_finding));
    options.on_frame = [&record, clock = SampleClock()](const MpegAudioWalk::Frame& frame,
                                                        bool sound) mutable {
        if (!sound) return;
        const int64_t time = clock.take(frame.head.header);
        record.history.add(MediaHistory::kAudio, time, frame.bytes.size(), false);
    };
}

}  // namespace zvprobe
