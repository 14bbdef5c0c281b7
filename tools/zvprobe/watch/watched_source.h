// SPDX-License-Identifier: MIT
// One source of a watch: its survey, its counts, and whether packets come. Whoever receives gives it
// bytes, whoever reports asks it; neither knows of the other. How bytes are received is left to
// receiver.h and stream_reader.h.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "io/rtp_stream.h"
#include "render/source_report.h"
#include "ts/resolver.h"
#include "ts/survey_run.h"
#include "ts/ts_counts.h"
#include "watch/event_lines.h"
#include "watch/source_settings.h"
#include "watch/tallies.h"

namespace zvprobe {

// How things stand with a source, copied so that it can be looked at in peace.
struct SourceState {
    struct Pid {
        std::string use;
        std::string codec;      // empty: unknown
        std::string languages;  // empty: none
        PidTallies tallies;
        std::optional<double> pcr_interval_max_s = {};
    };
    struct Table {
        uint16_t pid;
        uint8_t table_id;
        double interval_s;
    };
    struct Service {
        uint16_t program_number;
        std::string name;
        std::string provider;
    };
    static constexpr size_t kMostTables = 512;
    static constexpr size_t kMostServices = 256;

    bool up = false;
    std::string why_away;  // empty: nothing is known to be wrong
    Tallies tallies;
    double last_packet_unix_s = 0;  // 0: none came yet
    bool uses_rtp = false;
    std::map<uint16_t, Pid> pids;  // those that have a place in the tallies
    uint64_t pids_left_out = 0;
    std::vector<Table> tables;  // one of each pid and table_id
    std::vector<Service> services;

    // -> how often an indicator of ETSI TR 101 290 was in error; 0 also when it is not measured
    uint64_t indicator(const std::string& id) const {
        const auto found = tallies.indicators.find(id);
        return found == tallies.indicators.end() ? 0 : found->second.sum();
    }
};

class WatchedSource {
  public:
    using Clock = std::chrono::steady_clock;

    // Without packets for this long a source is away.
    static constexpr std::chrono::seconds kSilence{2};

    struct Options {
        bool tell_events = false;   // every event of the survey gets a line
        bool keep_history = false;  // how the stream goes over its time is kept, for reports
        bool keep_counts = false;   // those of surveys that ended are kept, for Before
        std::function<Clock::time_point()> now = Clock::now;
    };

    // What there was of the source until a report, beside the survey that the report is of.
    struct Before {
        uint64_t bytes = 0;  // all that came, of this survey too
        TsCounts counts;     // of surveys that ended
    };

    // tallies: what a source of that name has counted before
    WatchedSource(SourceSettings settings, Tallies tallies, Options options);
    WatchedSource(const WatchedSource&) = delete;
    WatchedSource& operator=(const WatchedSource&) = delete;
    ~WatchedSource();

    const SourceSettings& settings() const { return settings_; }

    // For who receives. All of it may be called on any thread.

    // It was opened. begins_anew: what comes now does not go on where the bytes before ended
    void opened(bool begins_anew);

    // -> what is to be said of one that has come to its end: there may have been no stream in it
    std::string why_ended();

    // It ended, or does not open. wait: until it is tried again
    void closed(const std::string& why, std::chrono::milliseconds wait);

    // Something that its user should know.
    void warn(const std::string& text);

    // Datagrams in the order in which they came just now.
    // drops: that the kernel has lost since the call before
    void take_datagrams(std::span<const std::span<const uint8_t>> datagrams, uint64_t drops);

    // The next bytes of a connection, a pipe (live) or a file.
    void take_bytes(std::span<const uint8_t> bytes, bool live);

    // Time passes although nothing comes.
    void tick();

    // For who reports.

    SourceState state() const;

    // -> what `probe` would say of it. What bytes wait for meanwhile is a copy of what is known, not
    //    the making of the report
    // with_history: how it went over its time is in it, if it is kept
    // before: gets what the report alone does not tell
    SourceReport report(bool with_history = false, Before* before = nullptr) const;

    // -> all counts. Nothing is taken any more.
    Tallies retire();

  private:
    class Survey;

    void feed(std::span<const uint8_t> bytes, bool live);
    void note_packets();
    void look_for_other_framing(bool live);
    void settle();
    void begin_survey();
    void end_survey(uint64_t passed_on = 0);
    void follow() const;
    void read_clock();
    void begin_to_wait();
    bool is_up(Clock::time_point now) const;
    void notice_change();
    void notice_nothing_yet();
    void describe_pids(SourceState& state) const;
    void describe_tables(SourceState& state) const;
    void describe_services(SourceState& state) const;

    const SourceSettings settings_;
    const Options options_;
    mutable std::mutex mutex_;
    // All that follows is under the mutex.
    mutable Tallies tallies_;
    EventLines state_lines_;
    EventLines event_lines_;  // apart: no flood of them must hide that the source is away
    std::unique_ptr<Survey> survey_;
    TsCounts ended_counts_;  // of the surveys before it
    std::unique_ptr<RtpStream> rtp_;
    Clock::time_point now_;  // never goes back
    std::optional<Clock::time_point> last_packet_;
    std::chrono::system_clock::time_point last_packet_time_;
    bool open_ = false;
    bool was_open_ = false;
    Clock::time_point opened_;
    bool has_bytes_ = false;    // since it was opened
    bool has_packets_ = false;  // since it was opened
    std::string told_of_wait_;  // since it was opened
    bool begins_anew_ = false;  // with the next bytes
    bool told_up_ = false;
    bool live_ = true;
    bool retired_ = false;
    std::string why_away_;
};

}  // namespace zvprobe
