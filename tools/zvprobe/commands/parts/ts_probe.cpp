// SPDX-License-Identifier: MIT
// Implementation of ts_probe.h: source, survey and resolver put together.
#include "commands/parts/ts_probe.h"

#include <algorithm>

#include "base/interrupt.h"
#include "base/texts.h"
#include "mpeg/ts_packet/packet_fields.h"
#include "ts/resolver.h"
#include "ts/survey_run.h"

namespace zvprobe {
namespace {

// What the survey has looked at is still in the cache for the resolver.
constexpr size_t kPiece = size_t{256} << 10;
// As many packets as one datagram carries: while pacing, the resolver sleeps within a piece.
constexpr size_t kPacedPiece = size_t{7} * zv::kTsPacketSize;

uint32_t parse_options_for(Pace pace) {
    if (pace == Pace::kPcr) return ZV_TS_CHECK_CC | ZV_TS_PACE_PCR;
    if (pace == Pace::kPts) return ZV_TS_CHECK_CC | ZV_TS_PACE_PES;
    return ZV_TS_CHECK_CC;
}

// One run over a source.
class TsProbe {
  public:
    TsProbe(const FindingLog& findings, const TsProbeOptions& options)
        : findings_(findings),
          options_(options),
          parse_options_(parse_options_for(options.pace)),
          resolver_(findings.source()),
          survey_({[this](const ZvSurveyEvent& event) { see_event(event); },
                   [this](std::span<const uint8_t> packets, size_t packet_size, uint64_t) {
                       see_packets(packets, packet_size);
                   },
                   {}},
                  options.limits, options.history ? std::optional(SurveyHistory{}) : std::nullopt) {
    }

    void read(Source& source, std::span<const uint8_t> window) {
        for (;;) {
            const bool last = source.at_end();
            feed(window);
            if (options_.on_progress) options_.on_progress(fed_);
            if (last && !source.stopped() && !stopped()) return finish();
            if (interrupted()) return;
            if (options_.on_window && !options_.on_window(survey_.records())) return;
            if (options_.is_report_due && options_.is_report_due()) options_.on_report(report());
            window = source.next(0);
        }
    }

    TsReport report() {
        return {survey_.json(),      events_, resolver_.account(),
                options_.statistics, {},      options_.limits};
    }

  private:
    // What has been read is looked at even after a signal, unless that takes time.
    bool stopped() const { return options_.pace != Pace::kNone && interrupted(); }

    void feed(std::span<const uint8_t> window) {
        const size_t most = options_.pace == Pace::kNone ? kPiece : kPacedPiece;
        do {
            const auto piece = window.first(std::min(most, window.size()));
            survey_.feed(piece, options_.live);
            fed_ += piece.size();
            window = window.subspan(piece.size());
        } while (!window.empty() && !stopped());
    }

    void finish() {
        survey_.finish();
        if (!findings_.told()) return;
        const ZvSurveyTotals totals = survey_.totals();
        if (totals.trailing_bytes == 0) return;
        findings_.tell(totals.bytes - totals.trailing_bytes,
                       counted(totals.trailing_bytes, "trailing byte", "trailing bytes"));
    }

    void see_event(const ZvSurveyEvent& event) {
        events_.add(event);
        findings_.tell(event);
        if (options_.on_event) options_.on_event(event);
    }

    void see_packets(std::span<const uint8_t> packets, size_t packet_size) {
        resolver_.parse(packets, packet_size, parse_options_);
        if (options_.on_packets) options_.on_packets(packets, packet_size);
    }

    const FindingLog& findings_;
    const TsProbeOptions& options_;
    const uint32_t parse_options_;
    Resolver resolver_;
    EventTallies events_;
    SurveyRun survey_;
    uint64_t fed_ = 0;  // bytes: the survey's totals have them, too, but go over all PIDs
};

}  // namespace

TsReport probe_transport_stream(const FindingLog& findings, Source& source,
                                std::span<const uint8_t> first_window,
                                const TsProbeOptions& options) {
    TsProbe probe(findings, options);
    probe.read(source, first_window);
    return probe.report();
}

}  // namespace zvprobe
