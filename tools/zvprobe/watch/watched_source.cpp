// SPDX-License-Identifier: MIT
// Implementation of watched_source.h.
#include "watch/watched_source.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "base/texts.h"
#include "render/finding_log.h"
#include "ts/unframed_bytes.h"
#include "zvprotocol.h"

namespace zvprobe {
namespace {

// More than any look for packets waits for.
constexpr size_t kFiller = 2048;

constexpr char kNoneYet[] = "no packets came yet";

// A history takes at most 40 KiB for each of these: less than 3 MiB of the 4 that a source may take.
constexpr uint32_t kHistoryRows = 64;

// An hour: who is called looks for what was just now, in steps of 13 seconds. Steps of months would be
// hours long.
constexpr uint32_t kHistorySeconds = 3600;

uint64_t microseconds(WatchedSource::Clock::time_point time) {
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count());
}

std::string seconds_text(std::chrono::milliseconds time) {
    return fixed(static_cast<double>(time.count()) / 1000, 1) + " s";
}

bool is_rtp(const std::string& url) {
    return zvptc_api_getPtcindex(url.c_str(), 0, 0) == ZVPTC_INDEX_RTP;
}

Json parsed(const std::string& survey, bool with_history) {
    return Json::parse(survey, [&](int depth, Json::parse_event_t event, const Json& part) {
        const bool is_key = depth == 1 && event == Json::parse_event_t::key;
        return with_history || !is_key || part != "history";
    });
}

}  // namespace

// A survey with what else `probe` tells of the same packets.
class WatchedSource::Survey {
  public:
    explicit Survey(WatchedSource& source)
        : source_(source),
          resolver_(source.settings_.name),
          run_({[this](const ZvSurveyEvent& event) { see_event(event); },
                [this](std::span<const uint8_t> packets, size_t packet_size, uint64_t offset) {
                    resolver_.parse(packets, packet_size, ZV_TS_CHECK_CC);
                    unframed_.see_packets(packets, packet_size, offset);
                    saw_packets_ = true;
                },
                {}},
               source.settings_.limits,
               source.options_.keep_history
                   ? std::optional(SurveyHistory{kHistoryRows, kHistorySeconds})
                   : std::nullopt) {}

    // -> true when there were packets in sync
    bool feed(std::span<const uint8_t> bytes, bool live) {
        saw_packets_ = false;
        give(bytes, live);
        unframed_.keep(bytes);
        return saw_packets_;
    }

    void tick() { run_.tick(microseconds(source_.now_)); }
    const SurveyRun& run() const { return run_; }

    // What waits for more bytes to be believed is counted.
    void finish() { run_.finish(); }

    UnframedBytes& unframed() { return unframed_; }

    // The unframed bytes belong to another survey: no packets are looked for in them any more.
    void leave_unframed(bool live) {
        constexpr std::array<uint8_t, kFiller> kNoPackets{};
        give(kNoPackets, live);
    }

    // -> all but its JSON object, whose text is quickly made and is read later
    TsReport report(std::string& json_text) {
        json_text = run_.json_text();
        TsReport report;
        report.events = events_;
        report.resolver = resolver_.account();
        report.limits = source_.settings_.limits;
        return report;
    }

  private:
    void give(std::span<const uint8_t> bytes, bool live) {
        if (live)
            run_.feed_at(bytes, microseconds(source_.now_));
        else
            run_.feed(bytes, false);
    }

    void see_event(const ZvSurveyEvent& event) {
        events_.add(event);
        if (source_.options_.tell_events && source_.event_lines_.next(source_.now_))
            source_.event_lines_.say(text_of(event), gravity_of(event));
    }

    WatchedSource& source_;
    Resolver resolver_;
    EventTallies events_;
    bool saw_packets_ = false;
    UnframedBytes unframed_;
    SurveyRun run_;
};

WatchedSource::WatchedSource(SourceSettings settings, Tallies tallies, Options options)
    : settings_(std::move(settings)),
      options_(std::move(options)),
      tallies_(std::move(tallies)),
      state_lines_(settings_.name, "line", "lines"),
      event_lines_(settings_.name, "event", "events"),
      now_(options_.now()) {
    begin_survey();
    if (is_rtp(settings_.url))
        rtp_ = std::make_unique<RtpStream>(
            RtpWindow{}, [this](std::span<const uint8_t> bytes) { feed(bytes, true); });
}

WatchedSource::~WatchedSource() = default;

// Another thread may have read the clock later and come first.
void WatchedSource::read_clock() {
    now_ = std::max(now_, options_.now());
}

void WatchedSource::begin_survey() {
    survey_ = std::make_unique<Survey>(*this);
}

// What the survey has counted is kept.
// passed_on: bytes that it skipped, and that count for the survey after it or never came
void WatchedSource::end_survey(uint64_t passed_on) {
    survey_->finish();
    tallies_.follow(survey_->run());
    tallies_.survey_begins_anew();
    if (!options_.keep_counts) return;
    TsCounts counts = counts_of(survey_->run());
    counts.faults.skipped_bytes -= std::min(counts.faults.skipped_bytes, passed_on);
    add_counts(ended_counts_, counts);
}

void WatchedSource::opened(bool begins_anew) {
    const std::lock_guard lock(mutex_);
    read_clock();
    if (was_open_) ++tallies_.reconnects;
    if (!open_) begin_to_wait();
    open_ = was_open_ = true;
    begins_anew_ = begins_anew_ || begins_anew;
}

// Not when a silent socket is exchanged: there the silence goes on.
void WatchedSource::begin_to_wait() {
    has_bytes_ = has_packets_ = false;
    opened_ = now_;
    told_of_wait_.clear();
    why_away_ = kNoneYet;
}

// Nothing follows that bytes could wait for: few packets are believed only now.
void WatchedSource::settle() {
    look_for_other_framing(live_);
    if (!live_) survey_->finish();  // a file has an end, and what comes next is another survey's
}

std::string WatchedSource::why_ended() {
    const std::lock_guard lock(mutex_);
    if (!has_bytes_) return "no bytes came";
    settle();
    return has_packets_ || survey_->run().totals().packets > 0 ? "the end" : "no transport stream";
}

void WatchedSource::closed(const std::string& why, std::chrono::milliseconds wait) {
    const std::lock_guard lock(mutex_);
    if (retired_) return;
    read_clock();
    settle();
    open_ = told_up_ = has_packets_ = false;
    why_away_ = why;
    if (state_lines_.next(now_))
        state_lines_.say("away: " + why + "; tried again in " + seconds_text(wait),
                         Gravity::kWarning);
}

void WatchedSource::warn(const std::string& text) {
    const std::lock_guard lock(mutex_);
    if (state_lines_.next(now_)) state_lines_.say(text, Gravity::kWarning);
}

void WatchedSource::take_datagrams(std::span<const std::span<const uint8_t>> datagrams,
                                   uint64_t drops) {
    const std::lock_guard lock(mutex_);
    if (retired_) return;
    read_clock();
    tallies_.receive_drops += drops;
    for (const std::span<const uint8_t> datagram : datagrams) {
        has_bytes_ = has_bytes_ || !datagram.empty();
        if (rtp_)
            rtp_->put(datagram, now_);
        else
            feed(datagram, true);
    }
}

void WatchedSource::take_bytes(std::span<const uint8_t> bytes, bool live) {
    const std::lock_guard lock(mutex_);
    if (retired_ || bytes.empty()) return;
    read_clock();
    live_ = live;
    has_bytes_ = true;
    feed(bytes, live);
}

void WatchedSource::feed(std::span<const uint8_t> bytes, bool live) {
    if (begins_anew_) {
        begins_anew_ = false;
        look_for_other_framing(live);
        end_survey();
        begin_survey();
    }
    tallies_.bytes += bytes.size();
    if (survey_->feed(bytes, live)) note_packets();
    if (survey_->unframed().are_many()) look_for_other_framing(live);
}

void WatchedSource::note_packets() {
    has_packets_ = true;
    last_packet_ = now_;
    last_packet_time_ = std::chrono::system_clock::now();
}

// When what the survey makes nothing of is packets of another size, a new survey goes on with them.
void WatchedSource::look_for_other_framing(bool live) {
    const std::vector<uint8_t> bytes = survey_->unframed().release();
    if (bytes.empty()) return;
    const uint64_t size = packet_size_of(bytes);
    const uint64_t before = survey_->run().totals().packet_size;
    if (size == 0 || size == before) return;
    if (state_lines_.next(now_))
        state_lines_.say("packets of " + std::to_string(size) + " bytes, of " +
                             std::to_string(before) + " before",
                         Gravity::kWarning);
    survey_->leave_unframed(live);
    end_survey(bytes.size() + kFiller - parity_size(before));
    begin_survey();
    if (survey_->feed(bytes, live)) note_packets();
}

void WatchedSource::tick() {
    const std::lock_guard lock(mutex_);
    if (retired_) return;
    read_clock();
    state_lines_.tick(now_);
    event_lines_.tick(now_);
    if (rtp_) rtp_->tick(now_);
    if (live_) survey_->tick();
    notice_change();
    notice_nothing_yet();
}

// Packets of the connection before say nothing of this one.
bool WatchedSource::is_up(Clock::time_point now) const {
    return open_ && has_packets_ && now - *last_packet_ < kSilence;
}

void WatchedSource::notice_change() {
    const bool up = is_up(now_);
    if (up == told_up_) return;
    told_up_ = up;
    why_away_ = up ? "" : "no packets come";
    if (!state_lines_.next(now_)) return;
    if (up)
        state_lines_.say("up: packets come", Gravity::kNotice);
    else
        state_lines_.say("away: no packets come", Gravity::kWarning);
}

// A source may be open and never give a packet. What is wrong with it is told once.
void WatchedSource::notice_nothing_yet() {
    if (!open_ || has_packets_ || now_ - opened_ < kSilence) return;
    const char* const why = has_bytes_ ? "bytes, but no packets" : kNoneYet;
    if (told_of_wait_ == why) return;
    told_of_wait_ = why_away_ = why;
    if (state_lines_.next(now_)) state_lines_.say("away: " + why_away_, Gravity::kWarning);
}

Tallies WatchedSource::retire() {
    const std::lock_guard lock(mutex_);
    if (rtp_) rtp_->finish();
    look_for_other_framing(live_);
    survey_->finish();
    follow();
    retired_ = true;
    state_lines_.finish();
    event_lines_.finish();
    tallies_.survey_begins_anew();
    tallies_.rtp_begins_anew();
    return tallies_;
}

void WatchedSource::follow() const {
    if (retired_) return;  // who comes after it goes on with these counts
    tallies_.follow(survey_->run());
    if (rtp_) tallies_.rtp_packets_lost.follow(rtp_->counts().lost);
}

SourceState WatchedSource::state() const {
    const std::lock_guard lock(mutex_);
    follow();
    SourceState state;
    state.up = is_up(options_.now());
    if (!state.up) state.why_away = why_away_;
    state.tallies = tallies_;
    state.uses_rtp = rtp_ != nullptr && !rtp_->is_plain();
    if (last_packet_)
        state.last_packet_unix_s =
            std::chrono::duration<double>(last_packet_time_.time_since_epoch()).count();
    describe_pids(state);
    describe_tables(state);
    describe_services(state);
    return state;
}

void WatchedSource::describe_pids(SourceState& state) const {
    for (const ZvSurveyPid& pid : survey_->run().pids()) {
        const auto place = tallies_.pids.find(pid.pid);
        if (place == tallies_.pids.end()) {
            ++state.pids_left_out;
            continue;
        }
        SourceState::Pid& known = state.pids[pid.pid];
        known.use = pid.use;
        known.codec = pid.codec == nullptr ? "" : pid.codec;
        if (!std::isnan(pid.pcr_interval_max_s)) known.pcr_interval_max_s = pid.pcr_interval_max_s;
    }
    // A PID of an earlier survey keeps its series.
    for (const auto& [number, tallies] : tallies_.pids)
        state.pids[number].tallies = tallies;
    survey_->run().for_each_stream([&](const ZvSurveyStream& stream) {
        const auto found = state.pids.find(stream.pid);
        if (found != state.pids.end()) found->second.languages = stream.languages;
    });
}

// Of the sub-tables with one table_id the one that comes most seldom counts.
void WatchedSource::describe_tables(SourceState& state) const {
    std::map<std::pair<uint16_t, uint8_t>, double> longest;
    for (const ZvSurveyTable& table : survey_->run().tables()) {
        if (std::isnan(table.interval_mean_s)) continue;
        double& interval = longest[{table.pid, table.table_id}];
        interval = std::max(interval, table.interval_mean_s);
    }
    for (const auto& [key, interval] : longest) {
        if (state.tables.size() >= SourceState::kMostTables) return;
        if (state.pids.contains(key.first))
            state.tables.push_back({key.first, key.second, interval});
    }
}

void WatchedSource::describe_services(SourceState& state) const {
    survey_->run().for_each_program([&](const ZvSurveyProgram& program) {
        if (program.service_name == nullptr) return;
        if (state.services.size() >= SourceState::kMostServices) return;
        const char* const provider = program.service_provider;
        state.services.push_back(
            {program.program_number, program.service_name, provider ? provider : ""});
    });
}

SourceReport WatchedSource::report(bool with_history, Before* before) const {
    SourceReport report;
    report.name = settings_.name;
    std::string survey;
    TsReport content;
    {
        const std::lock_guard lock(mutex_);
        if (before != nullptr) *before = {tallies_.bytes, ended_counts_};
        if (!last_packet_) {
            report.failure = {"cannot_open", kExitCannotOpen,
                              why_away_.empty() ? kNoneYet : why_away_};
            return report;
        }
        content = survey_->report(survey);
    }
    content.survey = parsed(survey, with_history);
    report.content = std::move(content);
    return report;
}

}  // namespace zvprobe
