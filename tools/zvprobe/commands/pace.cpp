// SPDX-License-Identifier: MIT
// `pace`: plays a transport stream in real time, by its own clock.
#include <unistd.h>

#include <chrono>
#include <iostream>
#include <optional>
#include <thread>

#include "base/exit_status.h"
#include "base/interrupt.h"
#include "base/texts.h"
#include "commands/commands.h"
#include "commands/ts_probe.h"
#include "io/packet_sink.h"
#include "io/source.h"
#include "render/complaint.h"
#include "ts/clock_pacer.h"
#include "ts/survey_run.h"
#include "ts/ts_sync.h"

namespace zvprobe {
namespace {

using Clock = std::chrono::steady_clock;

void print_summary(std::ostream& out, uint64_t packets, Clock::duration time) {
    const double seconds = std::chrono::duration<double>(time).count();
    const double bits = static_cast<double>(packets * kPacketSize) * 8;
    out << counted(packets, "packet", "packets") << " in " << fixed(seconds, 3) << " s, "
        << fixed(seconds > 0 ? bits / seconds / 1000 : 0, 1) << " kbit/s\n";
}

// -> where the packets go: a terminal is no place for them
std::string sink_of(const PaceOptions& options) {
    if (!options.to.empty()) return options.to;
    return isatty(STDOUT_FILENO) ? "" : "-";
}

// Stream time 0 is when the first packet goes. -> false when a signal came
class RealTime {
  public:
    bool wait_until(double stream_time_s) {
        if (!begin_) begin_ = Clock::now();
        const auto due = *begin_ + std::chrono::duration_cast<Clock::duration>(
                                       std::chrono::duration<double>(stream_time_s));
        for (auto now = Clock::now(); now < due && !interrupted(); now = Clock::now())
            std::this_thread::sleep_for(std::min<Clock::duration>(due - now, kLongestSleep));
        return !interrupted();
    }

  private:
    static constexpr std::chrono::milliseconds kLongestSleep{50};  // a signal must not wait longer
    std::optional<Clock::time_point> begin_;
};

// By the survey's clock: the PCRs of one PID, whatever the tables say.
void play_by_clock(Source& source, std::span<const uint8_t> window, const Session& session,
                   const std::string& name, PacketSink& sink) {
    RealTime time;
    ClockPacer pacer([&sink](std::span<const uint8_t> packets,
                             size_t packet_size) { sink.take(packets, packet_size); },
                     [&time](double stream_time_s) { return time.wait_until(stream_time_s); });
    const FindingLog findings(name, session.verbosity > 0);
    SurveyRun survey({[&findings](const ZvSurveyEvent& event) { findings.tell(event); },
                      [&pacer](std::span<const uint8_t> packets, size_t packet_size,
                               uint64_t offset) { pacer.take(packets, packet_size, offset); },
                      [&pacer](const ZvSurveyTimeLine& line) { pacer.take(line); }});
    while (!interrupted()) {
        const bool last = source.at_end();
        survey.feed(window, false);
        if (last) break;
        window = source.next(0);
    }
    survey.finish();
    pacer.finish();
}

// By the library, which sleeps to the time stamps of one stream.
void play_by_time_stamps(Source& source, std::span<const uint8_t> window, const Session& session,
                         const std::string& name, PacketSink& sink) {
    TsProbeOptions probe;
    probe.pace = Pace::kPts;
    probe.on_packets = [&sink](std::span<const uint8_t> packets, size_t packet_size) {
        sink.take(packets, packet_size);
    };
    const FindingLog findings(name, session.verbosity > 0);
    probe_transport_stream(findings, source, window, probe);
}

int play(const PaceOptions& options, const Session& session) {
    const auto source = open_source(options.source);
    const auto first_window = source->next(0);
    const bool known = find_first_packet(first_window, source->at_end()).has_value();
    if (known) {
        const std::string to = sink_of(options);
        PacketSink sink(to);
        const auto begin = Clock::now();
        const auto play_by = options.by == "pts" ? play_by_time_stamps : play_by_clock;
        play_by(*source, first_window, session, options.source, sink);
        sink.flush();
        if (!session.quiet)
            print_summary(to == "-" ? std::cerr : std::cout, sink.packets(), Clock::now() - begin);
    }
    if (!source->error().empty()) {
        complain(options.source, source->error());
        return kExitCannotOpen;
    }
    if (known || interrupted()) return kExitOk;
    complain(options.source, "not a transport stream");
    return kExitUnknownFormat;
}

}  // namespace

int run_command(const PaceOptions& options, const Session& session) {
    try {
        return play(options, session);
    } catch (const SourceError& error) {
        complain(options.source, error.what());
    } catch (const OutputError& error) {
        complain(options.to.empty() ? "standard output" : options.to,
                 std::string("cannot be written: ") + error.what());
    }
    return kExitCannotOpen;
}

}  // namespace zvprobe
