// SPDX-License-Identifier: MIT
// `monitor` of more than one source, or of those that a file names: they are watched until a signal
// comes, whatever becomes of each. What is told of them goes to standard output, every so often.
#include <unistd.h>

#include <chrono>
#include <iostream>
#include <map>
#include <optional>
#include <thread>

#include "base/descriptors.h"
#include "base/interrupt.h"
#include "base/numbers.h"
#include "base/texts.h"
#include "commands/commands.h"
#include "commands/parts/reload_signal.h"
#include "commands/parts/service_manager.h"
#include "io/source.h"
#include "render/monitor_report.h"
#include "render/progress.h"
#include "render/watch_report.h"
#include "watch/config.h"
#include "watch/watch.h"

namespace zvprobe {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr std::chrono::milliseconds kTick{50};
// Descriptors that sources leave to the rest: what threads wait with, files that are read for a moment,
// and enough connections to look at the watch.
constexpr uint64_t kOtherDescriptors = 96;

uint64_t descriptors_for_sources() {
    const uint64_t all = raise_descriptor_limit();
    return all > 2 * kOtherDescriptors ? all - kOtherDescriptors : all / 2;
}

class WatchCommand {
  public:
    WatchCommand(const WatchOptions& options, const Session& session)
        : options_(options),
          watch_({session.verbosity > 0, !options.endpoint.listen.empty(), descriptors_,
                  options.reports && options.json_lines}) {}

    int run() {
        // Else what other threads complain of would flush standard output while a report is written.
        std::cerr.tie(nullptr);
        if (!options_.config.empty()) expect_reload_signals();
        try {
            const std::vector<SourceSettings> sources = wanted_sources();
            listen();  // first: sources may take all descriptors
            watch_.set_sources(sources);
        } catch (const UsageError& error) {
            log_line(Gravity::kError, error.what());  // made to be printed
            return kExitUsage;
        } catch (const SourceError& error) {
            complain(options_.endpoint.listen, error.what(), Gravity::kError);
            return kExitCannotOpen;
        }
        if (endpoint_) complain("http://" + endpoint_->address(), "answers", Gravity::kNotice);
        say_if_descriptors_are_short();
        tell_ready();
        while (!interrupted()) {
            std::this_thread::sleep_for(kTick);
            go_on();
            if (reload_wanted()) reload();
            if (due()) report(false);
        }
        manager_.stopping();
        report(true);
        return kExitOk;
    }

  private:
    std::vector<SourceSettings> wanted_sources() const {
        if (options_.config.empty()) return sources_of_urls(options_.urls, options_.limits);
        return sources_of_file(options_.config, options_.limits);
    }

    void listen() {
        if (!options_.endpoint.listen.empty()) endpoint_.emplace(watch_, options_.endpoint);
    }

    void say_if_descriptors_are_short() const {
        const size_t sources = watch_.sources().size();
        const size_t left_out = watch_.without_descriptors();
        if (left_out > 0)
            complain("monitor", counted(sources, "source", "sources") + ", and the limit of file " +
                                    "descriptors (ulimit -Hn) leaves room for " +
                                    std::to_string(sources - left_out) + ": the others stay away");
    }

    void tell_ready() { manager_.ready(counted(watch_.sources().size(), "source", "sources")); }

    void go_on() {
        watch_.tick();
        if (watch_.is_working()) manager_.is_alive();
    }

    // A file with anything wrong in it changes nothing.
    void reload() {
        manager_.reloading();
        try {
            watch_.set_sources(wanted_sources(), [this] { go_on(); });
            renew_past();
            complain(options_.config, "read again", Gravity::kNotice);
            say_if_descriptors_are_short();
            tell_ready();
        } catch (const UsageError& error) {
            log_line(Gravity::kError, error.what() + std::string("; nothing is changed"));
            manager_.ready("refused: " + std::string(error.what()));
        }
    }

    bool due() {
        const auto now = Clock::now();
        if (now < next_report_) return false;
        next_report_ = now + interval_;
        return true;
    }

    void report(bool last) {
        if (!options_.reports) return;
        std::vector<WatchLine> lines;
        for (const auto& source : watch_.sources()) {
            if (options_.json_lines)
                print_json_line(source, last);
            else
                lines.push_back(line_of(*source));
        }
        if (!options_.json_lines)
            print_watch_text(std::cout, lines, text_options_for(STDOUT_FILENO, false, false).style);
        std::cout.flush();
    }

    WatchLine line_of(const WatchedSource& source) {
        const SourceState state = source.state();
        Past& past = past_of(source.settings().name);
        const auto now = Clock::now();
        const double seconds = Seconds(now - past.reported).count();
        WatchLine line;
        line.name = source.settings().name;
        line.up = state.up;
        line.why_away = state.why_away;
        line.packets = state.tallies.packets.sum();
        line.bits_per_second = static_cast<double>(state.tallies.bytes - past.bytes) * 8 / seconds;
        line.continuity_errors = state.indicator("1.4");
        line.rtp_packets_lost = state.tallies.rtp_packets_lost.sum();
        line.receive_drops = state.tallies.receive_drops;
        past.reported = now;
        past.bytes = state.tallies.bytes;
        return line;
    }

    // A survey begins anew whenever a connection or a file is opened again: what those before it
    // have counted goes with it, so that nothing of the interval is left out.
    void print_json_line(const std::shared_ptr<WatchedSource>& source, bool last) {
        WatchedSource::Before before;
        SourceReport report = source->report(false, &before);
        report.interrupted = last;
        Past& past = past_of(source->settings().name);
        // Where its settings changed, its counts begin at 0, and its bytes go on.
        if (past.source.lock() != source) past.source = source, past.counts = {};
        const auto now = Clock::now();
        MonitorTime time = {Seconds(now - begin_).count(), Seconds(now - past.reported).count(), 0};
        if (auto* const content = std::get_if<TsReport>(&report.content)) {
            TsCounts counts = std::move(before.counts);
            add_counts(counts, counts_of(content->survey));
            time.interval_bytes = before.bytes - past.bytes;
            content->interval = {time.interval_s, counts_between(past.counts, counts)};
            past.counts = std::move(counts);
            past.bytes = before.bytes;
        }
        past.reported = now;
        print_monitor_json(std::cout, report, time);
    }

    // What was told of a source last.
    struct Past {
        Clock::time_point reported;
        uint64_t bytes = 0;
        TsCounts counts = {};
        std::weak_ptr<WatchedSource> source = {};  // whose the counts are
    };

    Past& past_of(const std::string& name) {
        return past_.try_emplace(name, Past{begin_}).first->second;
    }

    // What is not watched any more is forgotten, and what is new begins now. A name that comes back
    // goes on with the bytes that it had.
    void renew_past() {
        std::erase_if(past_, [&](const auto& past) { return !watch_.source(past.first); });
        for (const auto& source : watch_.sources()) {
            const std::string& name = source->settings().name;
            if (!past_.contains(name))
                past_[name] = {Clock::now(), source->state().tallies.bytes, {}, {}};
        }
    }

    const WatchOptions& options_;
    const uint64_t descriptors_ = descriptors_for_sources();
    const Clock::time_point begin_ = Clock::now();
    const Clock::duration interval_ =
        std::chrono::round<Clock::duration>(Seconds(options_.interval_s));
    ServiceManager manager_;
    Watch watch_;
    std::optional<Endpoint> endpoint_;
    Clock::time_point next_report_ = Clock::now() + interval_;
    std::map<std::string, Past> past_;
};

}  // namespace

int run_command(const WatchOptions& options, const Session& session) {
    return WatchCommand(options, session).run();
}

}  // namespace zvprobe
