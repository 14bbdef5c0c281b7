// SPDX-License-Identifier: MIT
// `pace`: plays a transport stream in real time, by its own clock, once or again and again.
#include <sys/prctl.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <iostream>
#include <optional>

#include "base/exit_status.h"
#include "base/interrupt.h"
#include "base/numbers.h"
#include "base/texts.h"
#include "commands/commands.h"
#include "commands/parts/ts_probe.h"
#include "io/output/packet_sink.h"
#include "io/source.h"
#include "render/progress.h"
#include "ts/play/stream_play.h"

namespace zvprobe {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

// The deadline is a place on the clock, so that what one sleep is late does not delay the next. A
// signal ends the sleep; one that comes just before it must not wait longer than a piece.
// -> false when a signal came
bool sleep_until(Clock::time_point due) {
    constexpr std::chrono::milliseconds kLongestPiece{50};
    for (auto now = Clock::now(); now < due && !interrupted(); now = Clock::now()) {
        const auto until = std::min(due, now + kLongestPiece).time_since_epoch();
        const auto whole = std::chrono::duration_cast<std::chrono::seconds>(until);
        const timespec time = {whole.count(), std::chrono::nanoseconds(until - whole).count()};
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr);
    }
    return !interrupted();
}

class RealTime {
  public:
    // The kernel may otherwise let sleeps of several processes end together, 50 us late.
    RealTime() { prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL); }

    // The first time asked for is now. -> false when a signal came
    bool wait_until(double stream_time_s) {
        const auto since_zero = std::chrono::duration_cast<Clock::duration>(Seconds(stream_time_s));
        if (!zero_) zero_ = Clock::now() - since_zero;
        return sleep_until(*zero_ + since_zero);
    }

  private:
    std::optional<Clock::time_point> zero_;
};

// Opened when there are packets to send.
class Destination {
  public:
    explicit Destination(const PaceOptions& options) : name_(name_of(options)) {}

    void take(std::span<const uint8_t> packets, double time_s) {
        if (!sink_) {
            sink_.emplace(name_);
            begin_ = Clock::now();
        }
        sink_->take(packets, time_s);
    }
    void take_now(std::span<const uint8_t> packet) {
        take(packet, sink_ ? Seconds(Clock::now() - begin_).count() : 0);
    }

    // Sends what is left, and tells what was sent.
    void finish(bool quiet) {
        if (!sink_) return;
        sink_->flush();
        if (quiet) return;
        const double seconds = Seconds(Clock::now() - begin_).count();
        const double bits = static_cast<double>(sink_->packets() * zv::kTsPacketSize) * 8;
        (name_ == "-" ? std::cerr : std::cout)
            << counted(sink_->packets(), "packet", "packets") << " in " << fixed(seconds, 3)
            << " s, " << fixed(seconds > 0 ? bits / seconds / 1000 : 0, 1) << " kbit/s\n";
    }

  private:
    // A terminal is no place for packets.
    static std::string name_of(const PaceOptions& options) {
        if (!options.to.empty()) return options.to;
        return isatty(STDOUT_FILENO) ? "" : "-";
    }

    const std::string name_;
    std::optional<PacketSink> sink_;
    Clock::time_point begin_;
};

class Pacing {
  public:
    Pacing(const PaceOptions& options, const Session& session)
        : options_(options),
          quiet_(session.quiet),
          endless_(options.loop == "true"),
          passes_(parse_number(options.loop, UINT32_MAX).value_or(1)),
          findings_(options.source, session.verbosity > 0),
          destination_(options) {}

    int run() {
        if (options_.by == "pts" && repeats()) throw UsageError("--loop goes by the PCR only");
        const bool known = options_.by == "pts" ? play_by_time_stamps() : play_by_clock();
        destination_.finish(quiet_);
        if (interrupted() && !endless_) throw SourceError("interrupted, not all is sent");
        if (known || interrupted()) return kExitOk;
        complain(options_.source, "not a transport stream");
        return kExitUnknownFormat;
    }

  private:
    bool repeats() const { return endless_ || passes_ > 1; }

    std::unique_ptr<Source> open() const {
        auto source = open_source(options_.source);
        if (repeats() && (options_.source == "-" || !source->size()))
            throw SourceError("not a file, which can be read again: --loop is not possible");
        return source;
    }

    // By the survey's clock: the PCRs of one PID, whatever the tables say.
    bool play_by_clock() {
        RealTime time;
        StreamPlay play(
            {[this](auto packets, double time_s) { destination_.take(packets, time_s); },
             [&time](double time_s) { return time.wait_until(time_s); }, interrupted,
             [this](const ZvSurveyEvent& event) { findings_.tell(event); }});
        bool any = false;
        for (uint32_t pass = 0;;) {
            const auto source = open();
            const bool known = play.play(*source);
            any |= known;
            if (interrupted()) return any;
            const bool last = !known || (!endless_ && ++pass == passes_);
            const bool goes_on = !last && source->error().empty() && play.prepare_next();
            if (goes_on) continue;
            play.finish();
            if (!source->error().empty()) throw SourceError(source->error());
            if (last) return any;
            throw SourceError("has no clock that could go on: sent once");
        }
    }

    // By the library, which sleeps to the time stamps of one stream.
    bool play_by_time_stamps() {
        const auto source = open();
        TsProbeOptions probe;
        probe.pace = Pace::kPts;
        probe.on_packets = [this](std::span<const uint8_t> packets, size_t packet_size) {
            for (size_t at = 0; at < packets.size(); at += packet_size)
                destination_.take_now(packets.subspan(at, zv::kTsPacketSize));
        };
        const auto first_window = source->next(0);
        const TsReport report = probe_transport_stream(findings_, *source, first_window, probe);
        if (!source->error().empty()) throw SourceError(source->error());
        return report.has_packets();
    }

    const PaceOptions& options_;
    const bool quiet_;
    const bool endless_;
    const uint32_t passes_;
    const FindingLog findings_;
    Destination destination_;
};

}  // namespace

int run_command(const PaceOptions& options, const Session& session) {
    try {
        return Pacing(options, session).run();
    } catch (const UsageError& error) {
        complain(options.source, error.what());
        return kExitUsage;
    } catch (const SourceError& error) {
        complain(options.source, error.what());
    } catch (const OutputError& error) {
        complain(options.to.empty() ? "standard output" : options.to,
                 std::string("cannot be written: ") + error.what());
    }
    return kExitCannotOpen;
}

}  // namespace zvprobe
