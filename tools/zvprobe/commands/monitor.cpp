// SPDX-License-Identifier: MIT
// `monitor`: what `probe` tells, again and again while the stream comes. It reads like `probe`, not
// through the library's own monitor: so there is one report for both, also as JSON, a report is due
// when nothing comes, too, and a silent sender may come back. On a terminal the stream is on the
// screen meanwhile, and the report comes at the end.
#include <unistd.h>

#include <iostream>

#include "base/interrupt.h"
#include "base/printable.h"
#include "commands/commands.h"
#include "commands/parts/format_detect.h"
#include "commands/parts/live_view.h"
#include "commands/parts/ticker.h"
#include "commands/parts/ts_probe.h"
#include "io/source.h"
#include "render/monitor_report.h"
#include "render/progress.h"
#include "render/terminal.h"

namespace zvprobe {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

// Who asks for lines gets lines.
bool wants_screen(const MonitorOptions& options, const Session& session) {
    const bool lines_there = session.verbosity > 0 && is_terminal(STDERR_FILENO);
    return !options.plain && !options.json_lines && !lines_there && can_open_screen();
}

class Monitor {
  public:
    Monitor(const MonitorOptions& options, const Session& session)
        : options_(options),
          on_screen_(wants_screen(options, session)),
          findings_(options.source, session.verbosity > 0) {
        report_.name = options.source;
    }

    int run() {
        try {
            const auto source = open_source(options_.source);
            watch(*source);
        } catch (const SourceError& error) {
            fail("cannot_open", kExitCannotOpen, error.what());
        }
        if (!report_.failure) return kExitOk;
        complain(options_.source, report_.failure->message);
        return report_.failure->status;
    }

  private:
    void watch(Source& source) {
        Ticker ticker(on_screen_ ? LiveView::kTick : report_interval());
        source.expect_live();
        const bool live = source.origin() != Source::Origin::kFile;
        if (on_screen_ && live)
            std::cerr << "zvprobe: waiting for " << printable(options_.source) << '\n';
        const auto first_window = source.next(0);
        const bool known = holds_packets(first_window, source.at_end());
        note_read_error(source);
        if (!known) return fail_without_stream();
        begin_ = last_ = Clock::now();
        last_bytes_ = first_window.size();  // they came before
        TsProbeOptions options;
        options.live = live;
        options.statistics = options_.statistics;
        options.history = options_.history;
        options.limits = options_.limits;
        TsReport last = on_screen_ ? probe_on_screen(source, first_window, options, ticker)
                                   : probe_with_reports(source, first_window, options, ticker);
        note_read_error(source);
        report_.interrupted = interrupted();
        if (!last.has_packets()) return fail_without_stream();
        print(std::move(last));
    }

    std::chrono::microseconds report_interval() const {
        return std::chrono::round<std::chrono::microseconds>(Seconds(options_.interval_s));
    }

    TsReport probe_with_reports(Source& source, std::span<const uint8_t> first_window,
                                TsProbeOptions& options, Ticker& ticker) {
        options.is_report_due = [&ticker] { return ticker.due(); };
        options.on_report = [this](TsReport report) { print(std::move(report)); };
        return probe_transport_stream(findings_, source, first_window, options);
    }

    TsReport probe_on_screen(Source& source, std::span<const uint8_t> first_window,
                             TsProbeOptions& options, Ticker& ticker) {
        LiveView view(options_.source, options.live, ticker);
        options.on_event = [&view](const ZvSurveyEvent& event) { view.add(event); };
        options.on_window = [&view](const ZvSurvey* survey) { return view.go_on(survey); };
        return probe_transport_stream(findings_, source, first_window, options);
    }

    void print(TsReport content) {
        if (!content.has_packets()) return;
        const auto now = Clock::now();
        const MonitorTime time = {Seconds(now - begin_).count(), Seconds(now - last_).count(),
                                  content.bytes() - last_bytes_};
        TsCounts counts = counts_of(content.survey);
        content.interval = {time.interval_s, counts_between(last_counts_, counts)};
        last_counts_ = std::move(counts);
        last_ = now;
        last_bytes_ = content.bytes();
        report_.content = std::move(content);
        if (options_.json_lines)
            print_monitor_json(std::cout, report_, time);
        else
            print_monitor_text(std::cout, report_, time, text_options_);
        std::cout.flush();
    }

    void note_read_error(const Source& source) {
        if (!source.error().empty()) fail("read_error", kExitCannotOpen, source.error());
    }

    void fail_without_stream() {
        if (report_.failure) return;
        if (interrupted()) return fail("cannot_open", kExitCannotOpen, "too little came");
        fail("unknown_format", kExitUnknownFormat, "not a transport stream");
    }

    void fail(const char* kind, ExitStatus status, const std::string& message) {
        report_.failure = {kind, status, message};
    }

    const MonitorOptions& options_;
    const bool on_screen_;
    const TextOptions text_options_ =
        text_options_for(STDOUT_FILENO, options_.statistics, options_.resolver);
    FindingLog findings_;
    SourceReport report_;
    Clock::time_point begin_;
    Clock::time_point last_;
    uint64_t last_bytes_ = 0;
    TsCounts last_counts_;
};

}  // namespace

int run_command(const MonitorOptions& options, const Session& session) {
    return Monitor(options, session).run();
}

}  // namespace zvprobe
