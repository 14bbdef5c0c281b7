// SPDX-License-Identifier: MIT
// `rtp`: the transport stream out of RTP datagrams, in order, with an account of what was lost. The
// output gets its name when the source was read to its end and has packets.
#include <unistd.h>

#include <iostream>
#include <optional>

#include "base/exit_status.h"
#include "base/interrupt.h"
#include "commands/commands.h"
#include "commands/copy_command.h"
#include "io/datagram_source.h"
#include "io/output/out_file.h"
#include "render/finding_log.h"
#include "render/progress.h"
#include "render/text_parts.h"
#include "render/text_report.h"
#include "ts/survey_run.h"

namespace zvprobe {
namespace {

using Bytes = std::span<const uint8_t>;

void print_counts(std::ostream& out, const RtpStream& stream, const Style& style) {
    if (stream.is_plain()) {
        begin_line(out, style, "RTP") << "none: datagrams of packets\n";
        return;
    }
    const RtpCounts counts = stream.counts();
    const bool whole = counts.lost == 0 && counts.late == 0;
    begin_line(out, style, "RTP")
        << counted(counts.packets, "packet", "packets") << " of type "
        << (counts.payload_type ? std::to_string(*counts.payload_type) : "?") << ", "
        << marked(style, whole,
                  std::to_string(counts.lost) + " lost, " + std::to_string(counts.late) + " late")
        << ", " << counts.repeated << " repeated, " << counts.reordered << " reordered\n";
    begin_line(out, style, "") << counted(counts.ssrc_changes, "change", "changes") << " of SSRC, "
                               << counted(counts.restarts, "restart", "restarts")
                               << " of the sequence, " << counts.unaligned
                               << " not of whole packets\n";
    begin_line(out, style, "") << "left out: " << counts.rtcp << " of RTCP, " << counts.other
                               << " of other payload types, " << counts.bad << " of no RTP\n";
}

class Recording {
  public:
    Recording(const RtpOptions& options, const Session& session)
        : options_(options),
          findings_(options.source, session.verbosity > 0),
          survey_({[this](const ZvSurveyEvent& event) {
                       events_.add(event);
                       findings_.tell(event);
                   },
                   [](Bytes, size_t, uint64_t) {},
                   {}}) {}

    int run() { return sends_datagrams(options_.source) ? run_datagrams() : run_bytes(); }

  private:
    static constexpr std::chrono::milliseconds kFlushAfter{100};

    void begin_output() {
        if (!options_.out.empty()) out_.emplace(options_.out);
    }

    void take(Bytes bytes) {
        survey_.feed(bytes, false);
        if (out_) out_->write(bytes);
    }

    // What comes as a stream of bytes has no RTP: a file, a pipe, tcp, http.
    int run_bytes() {
        const auto source = open_source(options_.source);
        if (source->origin() == Source::Origin::kPipe) source->expect_live();
        begin_output();
        for (auto window = source->next(0);; window = source->next(0)) {
            survey_.feed(window, false);
            const bool last = source->at_end();
            if (last) survey_.finish();
            // The first window is long enough to tell; garbage is not copied.
            if (survey_.totals().packets == 0) {
                check_reading(*source);
                return unknown();
            }
            if (out_) out_->write(window);
            if (last || interrupted()) break;
            if (out_) out_->flush();
        }
        report(nullptr);
        if (out_) check_reading(*source);
        if (!source->error().empty()) throw SourceError(source->error());
        return finish();
    }

    int run_datagrams() {
        DatagramSource source(options_.source);
        begin_output();
        RtpStream stream(options_.window, [this](Bytes bytes) { take(bytes); });
        auto flushed = source.now();
        bool any = false;
        while (!source.at_end()) {
            const Bytes datagram = source.next();
            any |= !datagram.empty();
            if (datagram.empty())
                stream.tick(source.now());
            else
                stream.put(datagram, source.now());
            if (!out_ || (!datagram.empty() && source.now() - flushed < kFlushAfter)) continue;
            out_->flush();  // a live stream may be watched
            flushed = source.now();
        }
        stream.finish();
        survey_.finish();
        if (any) report(&stream);
        if (!source.error().empty()) throw SourceError(source.error());
        if (!any) throw SourceError("nothing came");
        return finish();
    }

    int unknown() const {
        complain(options_.source, "not a transport stream");
        return kExitUnknownFormat;
    }

    int finish() {
        if (survey_.totals().packets == 0) return unknown();
        if (out_) out_->commit();
        return kExitOk;
    }

    // stream: null where there was no RTP
    void report(const RtpStream* stream) {
        const bool to_stdout = is_standard_output(options_.out);
        std::ostream& out = to_stdout ? std::cerr : std::cout;
        const TextOptions text = text_options_for(to_stdout ? STDERR_FILENO : STDOUT_FILENO, false);
        out << text.style.heading(printable(options_.source)) << '\n';
        if (stream != nullptr) print_counts(out, *stream, text.style);
        const TsReport report = {survey_.json(), events_, {}};
        if (report.has_packets()) print_text(out, report, text);
    }

    const RtpOptions& options_;
    const FindingLog findings_;
    EventTallies events_;
    SurveyRun survey_;
    std::optional<OutFile> out_;  // made when the source is open
};

}  // namespace

int run_command(const RtpOptions& options, const Session& session) {
    return run_copy({options.source, options.out},
                    [&] { return Recording(options, session).run(); });
}

}  // namespace zvprobe
