// SPDX-License-Identifier: MIT
// Implementation of indicators.h.
#include "indicators.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <utility>

namespace fuzz::reference {
namespace {

constexpr double kSecond = static_cast<double>(kTicksPerSecond);
constexpr double kHair = 1e-3;  // ticks; what is exactly at a limit is not over it

constexpr double kPatLimit = 0.5 * kSecond, kPmtLimit = 0.5 * kSecond, kPidLimit = 5 * kSecond;
constexpr double kPcrLimit = 0.1 * kSecond, kPtsLimit = 0.7 * kSecond, kCatLimit = 0.5 * kSecond;
constexpr double kNitLimit = 10 * kSecond, kBatLimit = 10 * kSecond, kTotLimit = 30 * kSecond;
constexpr double kSdtActualLimit = 2 * kSecond, kSdtOtherLimit = 10 * kSecond;
constexpr double kEitActualLimit = 2 * kSecond, kEitOtherLimit = 10 * kSecond;
constexpr double kEitPairLimit = 2 * kSecond, kTdtLimit = 30 * kSecond;
constexpr double kUnreferencedLimit = 0.5 * kSecond;
constexpr double kTooClose = 0.025 * kSecond;

// What is still to come: a packet, a time stamp, a section.
struct Wait {
    double limit;
    bool open = false;
    double start = 0;

    void end(double now, Tally& tally) {
        if (open && now - start > limit + kHair) tally.add(start + limit);
        open = false;
    }
    void restart(double now, Tally& tally) {
        end(now, tally);
        open = true;
        start = now;
    }
};

// Table_ids that a PID is for, and the indicator that counts others.
struct Expected {
    uint16_t pid;
    std::string_view id;
    std::array<std::pair<uint8_t, uint8_t>, 4> table_ids;  // from, to; unused: from > to
};
constexpr std::pair<uint8_t, uint8_t> kNone = {1, 0};
constexpr std::pair<uint8_t, uint8_t> only(uint8_t id) {
    return {id, id};
}
constexpr Expected kExpected[] = {
    {kPidPat, "1.3.a", {only(kTablePat), kNone, kNone, kNone}},
    {kPidCat, "2.6", {only(kTableCat), kNone, kNone, kNone}},
    {kPidNit, "3.1.a", {only(kTableNitActual), only(kTableNitOther), only(kTableStuffing), kNone}},
    {kPidSdt,
     "3.5.a",
     {only(kTableSdtActual), only(kTableSdtOther), only(kTableBat), only(kTableStuffing)}},
    {kPidEit,
     "3.6.a",
     {std::pair{kTableEitActual, kTableEitLast}, only(kTableStuffing), kNone, kNone}},
    {kPidRst, "3.7", {only(kTableRst), only(kTableStuffing), kNone, kNone}},
    {kPidTdt, "3.8", {only(kTableTdt), only(kTableStuffing), only(kTableTot), kNone}},
};

struct Paced {
    uint16_t pid;
    uint8_t table_id;
    std::string_view id;
};
// Tables whose sections must not come too close after each other.
constexpr Paced kPaced[] = {
    {kPidNit, kTableNitActual, "3.1.a"}, {kPidSdt, kTableSdtActual, "3.5.a"},
    {kPidEit, kTableEitActual, "3.6.a"}, {kPidRst, kTableRst, "3.7"},
    {kPidTdt, kTableTdt, "3.8"},
};

bool counts_as_crc_error(uint8_t table_id) {
    constexpr uint8_t kCounted[] = {kTablePat,       kTableCat,      kTablePmt,
                                    kTableNitActual, kTableNitOther, kTableSdtActual,
                                    kTableSdtOther,  kTableBat,      kTableTot};
    return std::ranges::find(kCounted, table_id) != std::end(kCounted) ||
           (table_id >= kTableEitActual && table_id <= kTableEitLast);
}

// PIDs by what the tables in force say of them.
struct Named {
    PidSet at_all;
    PidSet pmt;
    PidSet timed;    // video and audio streams
    PidSet awaited;  // these and PCR PIDs
    // The PCR PID of the first programme that names a PID.
    std::vector<uint16_t> pcr_pid = std::vector<uint16_t>(kPidCount, kNullPid);
};

template <typename Do>
void for_each_pid(const PidSet& pids, Do&& act) {
    const size_t end = pids.any() ? kPidCount : 0;
    for (size_t pid = 0; pid < end; ++pid) {
        if (pids[pid]) act(static_cast<uint16_t>(pid));
    }
}

Named names_in(const Tables& tables) {
    Named named;
    named.at_all = tables.named_pids();
    PidSet taken;
    for (const Program& program : tables.programs()) {
        named.pmt.set(program.pmt_pid);
        const uint16_t pcr_pid = program.pmt == nullptr ? kNullPid : program.pmt->pcr_pid;
        named.awaited.set(pcr_pid);
        for (const uint16_t pid : pids_of(program)) {
            if (!taken[pid]) named.pcr_pid[pid] = pcr_pid;
            taken.set(pid);
        }
        if (program.pmt == nullptr) continue;
        for (const Stream& stream : program.pmt->streams) {
            const Kind kind = kind_of(stream, *program.pmt);
            if (kind == Kind::kVideo || kind == Kind::kAudio) named.timed.set(stream.pid);
        }
    }
    named.awaited |= named.timed;
    named.awaited.reset(kNullPid);
    return named;
}

class Replay {
  public:
    Replay(const Framing& framing, const Clock& clock) : framing_(framing), clock_(clock) {}

    void sync_errors() {
        for (const Loss& loss : framing_.losses)
            tally("1.1").add(ticks(loss.offset));
        for (const uint64_t offset : framing_.byte_errors)
            tally("1.2").add(ticks(offset));
    }

    void pcrs(const Pids& pids) {
        for (const auto& [pid, facts] : pids) {
            for (size_t i = 1; i < facts.pcrs.size(); ++i)
                pcr_step(facts.pcrs[i - 1], facts.pcrs[i]);
        }
        for (const auto& [pid, accuracy] : measure_accuracy(framing_, pids, clock_)) {
            for (const uint64_t offset : accuracy.wrong)
                tally("2.4").add(ticks(offset));
        }
    }

    void packets(const std::vector<Section>& sections) {
        pat_.restart(0, tally("1.3.a"));
        size_t next = 0;
        for (size_t i = 0; i < framing_.packets.size(); ++i) {
            now_ = ticks(framing_.packets[i].offset);
            for (; next < sections.size() && sections[next].last_packet == i; ++next)
                on_section(sections[next]);
            on_packet(framing_.packets[i]);
        }
        at_end();
    }

    Findings findings() { return std::move(out_); }

  private:
    // The first of sections 0 and 1 of a sub-table, until the other one comes.
    struct Pair {
        uint8_t number;
        bool complete;
        double first;
    };

    Tally& tally(std::string_view id) { return out_.tallies[id]; }
    double ticks(uint64_t offset) const { return clock_.known() ? clock_.ticks_at(offset) : 0; }

    void pcr_step(const Pcr& before, const Pcr& pcr) {
        if (pcr.signalled) return;
        const double at = ticks(pcr.offset);
        if (at - ticks(before.offset) > kPcrLimit + kHair) tally("2.3.a").add(at);
        if (static_cast<double>(pcr.step) > kPcrLimit) tally("2.3.b").add(at);
    }

    void on_section(const Section& section) {
        const double at = ticks(section.first_offset);
        if (!section.sound) {
            if (counts_as_crc_error(section.table_id())) tally("2.2").add(at);
            return;
        }
        end_waits(section, at);
        if (!section.in_force()) return;
        check_table_id(section, at);
        check_distance(section, at);
        if (section.is_long_table(kTablePat) && section.pid == kPidPat && !first_pat_)
            first_pat_ = now_;
        if (out_.tables.take(section)) on_new_tables();
    }

    void end_waits(const Section& section, double at);
    void end_wait_of_pair(const Section& section, double at);

    void check_table_id(const Section& section, double at) {
        for (const Expected& expected : kExpected) {
            if (expected.pid != section.pid) continue;
            const bool known = std::ranges::any_of(expected.table_ids, [&](const auto& range) {
                return section.table_id() >= range.first && section.table_id() <= range.second;
            });
            if (!known) tally(expected.id).add(at);
        }
    }

    void check_distance(const Section& section, double at) {
        for (const Paced& paced : kPaced) {
            if (paced.pid != section.pid || paced.table_id != section.table_id()) continue;
            const int extension = section.is_long() ? section.extension() : -1;
            const auto [place, is_first] = ends_.try_emplace({section.pid, extension});
            if (!is_first && at - place->second < kTooClose - kHair) tally(paced.id).add(at);
            place->second = now_;
        }
    }

    void on_new_tables();

    void on_packet(const Packet& packet) {
        if (packet.transport_error) return tally("2.1").add(now_);
        if (packet.pid == kNullPid) return;
        if (packet.continuity_error) tally("1.4").add(now_);
        if (packet.scrambled) on_scrambled(packet.pid);
        if (names_.awaited[packet.pid]) wait_for(packet.pid, packets_).restart(now_, tally("1.6"));
        if (packet.pid > 0x1F && packet.pid != kPidPsip) look_for_name(packet.pid);
        if (packet.duplicate) return;
        if (packet.pcr) pcrs_[packet.pid] = {*packet.pcr, now_};
        if (const auto stamps = time_stamps_of(packet)) on_time_stamps(packet.pid, *stamps);
    }

    void on_scrambled(uint16_t pid) {
        if (!first_scrambled_) first_scrambled_ = now_;
        if (pid == kPidPat) tally("1.3.a").add(now_);
        if (names_.pmt[pid]) tally("1.5.a").add(now_);
        wait_for(pid, stamps_).end(now_, tally("2.5"));
    }

    void look_for_name(uint16_t pid) {
        const auto [place, is_first] = unnamed_since_.try_emplace(pid, now_);
        if (names_.at_all[pid] || !first_pat_ || unreferenced_[pid]) return;
        const double start = std::max(place->second, *first_pat_);
        if (now_ - start <= kUnreferencedLimit + kHair) return;
        unreferenced_.set(pid);
        tally("3.4.a").add(start + kUnreferencedLimit);
    }

    void on_time_stamps(uint16_t pid, const TimeStamps& stamps);
    void at_end();

    Wait& wait_for(uint16_t pid, std::map<uint16_t, Wait>& waits) {
        return waits.try_emplace(pid, Wait{&waits == &packets_ ? kPidLimit : kPtsLimit})
            .first->second;
    }

    const Framing& framing_;
    const Clock& clock_;
    Findings out_;
    double now_ = 0;
    Named names_;
    std::optional<double> first_pat_, first_cat_, first_scrambled_;

    Wait pat_{kPatLimit}, nit_{kNitLimit}, sdt_{kSdtActualLimit}, tdt_{kTdtLimit}, tot_{kTotLimit};
    std::map<std::pair<uint16_t, uint16_t>, Wait> pmts_;  // by program_number and PID
    std::map<uint16_t, Wait> packets_, stamps_;           // by PID
    std::map<std::pair<uint16_t, uint8_t>, Wait> other_nits_, other_sdts_;
    std::map<uint16_t, Wait> bats_;
    std::map<std::pair<uint8_t, uint8_t>, Wait> eits_;    // by table_id and section_number
    std::map<std::pair<uint8_t, uint16_t>, Pair> pairs_;  // by table_id and service
    std::map<std::pair<uint16_t, int>, double> ends_;     // of sections, by PID and extension
    std::map<uint16_t, double> unnamed_since_;            // or first seen
    PidSet unreferenced_;
    std::map<uint16_t, std::pair<uint64_t, double>> pcrs_;  // the latest and its time
};

void Replay::end_waits(const Section& section, double at) {
    const uint16_t pid = section.pid;
    const uint8_t id = section.table_id();
    if (pid == kPidTdt && id == kTableTdt) tdt_.restart(at, tally("3.8"));
    if (pid == kPidTdt && id == kTableTot) tot_.restart(at, tally("3.2"));
    if (!section.is_long()) return;
    const uint16_t extension = section.extension();
    const uint8_t number = section.number();
    if (pid == kPidPat && id == kTablePat) pat_.restart(at, tally("1.3.a"));
    if (pid == kPidCat && id == kTableCat && !first_cat_) first_cat_ = at;
    if (pid == kPidNit && id == kTableNitActual) nit_.restart(at, tally("3.1.a"));
    if (pid == kPidSdt && id == kTableSdtActual) sdt_.restart(at, tally("3.5.a"));
    if (pid == kPidNit && id == kTableNitOther)
        other_nits_.try_emplace({extension, number}, Wait{kNitLimit})
            .first->second.restart(at, tally("3.1.b"));
    if (pid == kPidSdt && id == kTableSdtOther)
        other_sdts_.try_emplace({extension, number}, Wait{kSdtOtherLimit})
            .first->second.restart(at, tally("3.5.b"));
    if (pid == kPidSdt && id == kTableBat)
        bats_.try_emplace(extension, Wait{kBatLimit}).first->second.restart(at, tally("3.2"));
    if (pid == kPidEit && (id == kTableEitActual || id == kTableEitOther) && number <= 1)
        end_wait_of_pair(section, at);
    if (id == kTablePmt) {
        const auto pmt = pmts_.find({extension, pid});
        if (pmt != pmts_.end()) pmt->second.restart(at, tally("1.5.a"));
    }
}

void Replay::end_wait_of_pair(const Section& section, double at) {
    const bool actual = section.table_id() == kTableEitActual;
    eits_
        .try_emplace({section.table_id(), section.number()},
                     Wait{actual ? kEitActualLimit : kEitOtherLimit})
        .first->second.restart(at, tally(actual ? "3.6.a" : "3.6.b"));
    const auto [place, is_first] = pairs_.try_emplace({section.table_id(), section.extension()},
                                                      Pair{section.number(), false, at});
    Pair& pair = place->second;
    if (pair.complete || pair.number == section.number()) return;
    pair.complete = true;
    if (at - pair.first > kEitPairLimit + kHair) tally("3.6.c").add(pair.first + kEitPairLimit);
}

void Replay::on_new_tables() {
    const Named before = std::exchange(names_, names_in(out_.tables));
    for_each_pid(before.at_all & ~names_.at_all, [&](uint16_t pid) {
        if (unnamed_since_.contains(pid)) unnamed_since_[pid] = now_;
    });
    for_each_pid(before.awaited & ~names_.awaited,
                 [&](uint16_t pid) { wait_for(pid, packets_).end(now_, tally("1.6")); });
    for_each_pid(names_.awaited & ~before.awaited,
                 [&](uint16_t pid) { wait_for(pid, packets_).restart(now_, tally("1.6")); });
    for_each_pid(before.timed & ~names_.timed,
                 [&](uint16_t pid) { wait_for(pid, stamps_).end(now_, tally("2.5")); });
    for (auto pmt = pmts_.begin(); pmt != pmts_.end();) {
        const bool stays = out_.tables.find_program(pmt->first.first, pmt->first.second) != nullptr;
        if (!stays) pmt->second.end(now_, tally("1.5.a"));
        pmt = stays ? std::next(pmt) : pmts_.erase(pmt);
    }
    for (const Program& program : out_.tables.programs()) {
        const auto [place, is_new] =
            pmts_.try_emplace({program.number, program.pmt_pid}, Wait{kPmtLimit});
        if (is_new) place->second.restart(now_, tally("1.5.a"));
    }
}

void Replay::on_time_stamps(uint16_t pid, const TimeStamps& stamps) {
    if (names_.timed[pid]) wait_for(pid, stamps_).restart(now_, tally("2.5"));
    const auto pcr = pcrs_.find(names_.pcr_pid[pid]);
    if (!clock_.known() || pcr == pcrs_.end()) return;
    const auto& [value, its_time] = pcr->second;
    constexpr double kRange = static_cast<double>(kPcrRange);
    const double stamp = static_cast<double>(stamps.dts.value_or(stamps.pts) * 300);
    const double apart = stamp - static_cast<double>(value) - (now_ - its_time);
    const double ahead_ms = (apart - kRange * std::round(apart / kRange)) / kSecond * 1000;
    const auto [place, is_first] = out_.ahead_ms.try_emplace(pid, Range{ahead_ms, ahead_ms});
    place->second.min = std::min(place->second.min, ahead_ms);
    place->second.max = std::max(place->second.max, ahead_ms);
}

void Replay::at_end() {
    const auto end_all = [this](auto& waits, std::string_view id) {
        for (auto& [key, wait] : waits)
            wait.end(now_, tally(id));
    };
    pat_.end(now_, tally("1.3.a"));
    nit_.end(now_, tally("3.1.a"));
    sdt_.end(now_, tally("3.5.a"));
    tdt_.end(now_, tally("3.8"));
    tot_.end(now_, tally("3.2"));
    end_all(pmts_, "1.5.a");
    end_all(packets_, "1.6");
    end_all(stamps_, "2.5");
    end_all(other_nits_, "3.1.b");
    end_all(bats_, "3.2");
    end_all(other_sdts_, "3.5.b");
    for (auto& [key, wait] : eits_)
        wait.end(now_, tally(key.first == kTableEitActual ? "3.6.a" : "3.6.b"));
    for (const auto& [key, pair] : pairs_) {
        if (!pair.complete && now_ - pair.first > kEitPairLimit + kHair)
            tally("3.6.c").add(pair.first + kEitPairLimit);
    }
    if (!first_scrambled_) return;
    const double until = *first_scrambled_ + kCatLimit;
    if (first_cat_ ? *first_cat_ > until + kHair : now_ > until + kHair) tally("2.6").add(until);
}

}  // namespace

void Tally::add(double ticks) {
    first_ticks = count == 0 ? ticks : std::min(first_ticks, ticks);
    last_ticks = count == 0 ? ticks : std::max(last_ticks, ticks);
    ++count;
}

Findings replay(const Framing& framing, const Pids& pids, const std::vector<Section>& sections,
                const Clock& clock) {
    Replay again(framing, clock);
    again.sync_errors();
    again.pcrs(pids);
    again.packets(sections);
    return again.findings();
}

}  // namespace fuzz::reference
