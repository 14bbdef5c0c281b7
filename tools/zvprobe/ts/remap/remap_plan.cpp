// SPDX-License-Identifier: MIT
// Implementation of remap_plan.h.
#include "ts/remap/remap_plan.h"

#include <algorithm>
#include <array>

#include "base/numbers.h"
#include "base/texts.h"

namespace zvprobe {
namespace {

// Receivers look for tables on these PIDs.
constexpr std::array<uint16_t, 7> kTablePids = {zv::kPidPat, zv::kPidCat, zv::kPidNit, zv::kPidSdt,
                                                zv::kPidEit, zv::kPidRst, zv::kPidTdt};

std::string program_text(uint16_t number) {
    return "programme " + std::to_string(number);
}

class Planner {
  public:
    Planner(const StreamFacts& facts, const RemapRequest& request)
        : facts_(facts), request_(request) {}

    Identifiers make() {
        if (request_.from) choose_one();
        for (const uint16_t pid : request_.dropped)
            drop(pid);
        for (const auto& [from, to] : request_.programs)
            rename(from, to);
        for (const auto& [from, to] : request_.pids)
            move(from, to);
        if (request_.is_about_one()) change_one();
        check_numbers();
        check_pids();
        return std::move(ids_);
    }

  private:
    void choose_one() {
        ids_.only = request_.from;
        ids_.changes_pids = true;
        if (!facts_.first().described || facts_.first().number != *request_.from)
            throw UsageError("there is no " + program_text(*request_.from));
    }

    void drop(uint16_t pid) {
        if (facts_.of(pid).clock) throw UsageError(hex(pid) + " carries the clock of a programme");
        ids_.dropped[pid] = true;
        ids_.changes_pids = true;
    }

    void rename(uint16_t from, uint16_t to) {
        if (!facts_.has_number(from)) throw UsageError("there is no " + program_text(from));
        const auto [at, is_new] = ids_.numbers.emplace(from, to);
        if (!is_new && at->second != to)
            throw UsageError(program_text(from) + " cannot get two numbers");
    }

    bool comes(uint16_t pid) const { return facts_.of(pid).seen || facts_.of(pid).named; }

    void move(uint16_t from, uint16_t to) {
        if (from <= zv::kLastReservedPid)
            throw UsageError(hex(from) + " has its PID by the standard");
        if (!comes(from)) throw UsageError(hex(from) + " does not come in the stream");
        if (std::ranges::count(kTablePids, to) != 0)
            throw UsageError(hex(to) + " belongs to a table");
        if (ids_.pids[from] != from && ids_.pids[from] != to)
            throw UsageError(hex(from) + " cannot become two PIDs");
        ids_.pids[from] = to;
        ids_.changes_pids = true;
    }

    // The PIDs and the number of one programme, by what they are for.
    void change_one() {
        const ProgramFacts& one = facts_.first();
        if (!one.described) throw UsageError("no programme is completely described");
        if (facts_.programs() > 1)
            throw UsageError(std::to_string(facts_.programs()) +
                             " programmes: choose one with --from NUMBER");
        if (request_.program) rename(one.number, *request_.program);
        if (request_.pmt_pid) move_pmt(one);
        if (!request_.es_pids.empty()) move_streams(one);
        if (request_.pcr_pid) move_pcr(one);
    }

    void move_pmt(const ProgramFacts& one) {
        if (one.pmt_moves) throw RemapError("the PMT moves to another PID within the stream");
        move(one.pmt_pid, *request_.pmt_pid);
    }

    void move_streams(const ProgramFacts& one) {
        if (one.streams_change)
            throw RemapError("the programme's streams change within the stream");
        if (request_.es_pids.size() != one.streams.size())
            throw UsageError("the programme has " + std::to_string(one.streams.size()) +
                             " streams, --es " + std::to_string(request_.es_pids.size()));
        for (size_t i = 0; i < one.streams.size(); ++i)
            move(one.streams[i], request_.es_pids[i]);
    }

    // Packets of a PCR PID of its own go into a stream only when they carry nothing else.
    void move_pcr(const ProgramFacts& one) {
        const uint16_t from = one.pcr_pid, to = *request_.pcr_pid;
        if (from == zv::kPidNull) throw UsageError("the programme has no PCR");
        if (one.pcr_moves) throw RemapError("the PCR moves to another PID within the stream");
        if (to == ids_.pids[one.pmt_pid]) throw UsageError("the PCR cannot share the PMT's PID");
        if (from == one.pmt_pid) throw UsageError("the PCR comes with the PMT and cannot leave it");
        const bool was_alone = std::ranges::count(one.streams, from) == 0;
        const bool joins = std::ranges::any_of(
            one.streams, [&](uint16_t pid) { return pid != from && ids_.pids[pid] == to; });
        if (was_alone ? !joins : ids_.pids[from] == to) return move(from, to);
        if (was_alone && facts_.of(from).has_payload)
            throw UsageError("the PCR's packets carry a payload: --pcr has to be a PID of its own");
        if (std::ranges::count(kTablePids, to) != 0)
            throw UsageError(hex(to) + " belongs to a table");
        ids_.clock = {from, to, was_alone};
        ids_.changes_pids = true;
    }

    void check_numbers() const {
        if (ids_.only) {
            for (const auto& [from, to] : ids_.numbers)
                if (from != *ids_.only) throw UsageError(program_text(from) + " is not copied");
            return;
        }
        std::vector<bool> taken(65536);
        for (uint32_t number = 0; number < taken.size(); ++number) {
            if (!facts_.has_number(static_cast<uint16_t>(number))) continue;
            const uint16_t to = ids_.new_number(static_cast<uint16_t>(number));
            if (taken[to]) throw UsageError("there would be two of " + program_text(to));
            taken[to] = true;
        }
    }

    bool is_copied(uint16_t pid) const {
        if (ids_.dropped[pid] || pid == zv::kPidNull) return false;
        if (ids_.only && !facts_.of(pid).named) return pid <= zv::kLastReservedPid && comes(pid);
        return comes(pid);
    }

    void check_pids() const {
        std::vector<std::optional<uint16_t>> taken(zv::kPidCount);
        for (uint16_t pid = 0; pid < zv::kPidCount; ++pid) {
            if (!is_copied(pid)) continue;
            if (ids_.clock && ids_.clock->joins_stream && pid == ids_.clock->from) continue;
            check_free(taken, pid, ids_.pids[pid]);
        }
        if (!ids_.clock || ids_.clock->joins_stream) return;
        const uint16_t to = ids_.clock->to;
        const auto& streams = facts_.first().streams;
        const bool in_stream = taken[to] && std::ranges::count(streams, *taken[to]) != 0;
        if (taken[to] && !in_stream) throw UsageError(other_packets(to));
    }

    void check_free(std::vector<std::optional<uint16_t>>& taken, uint16_t pid, uint16_t to) const {
        if (taken[to]) {
            const bool both_move = ids_.pids[pid] != pid && ids_.pids[*taken[to]] != *taken[to];
            throw UsageError(both_move ? hex(to) + " cannot be two things at once"
                                       : other_packets(to));
        }
        taken[to] = pid;
    }

    static std::string other_packets(uint16_t pid) {
        return hex(pid) + " carries other packets of the stream";
    }

    const StreamFacts& facts_;
    const RemapRequest& request_;
    Identifiers ids_;
};

}  // namespace

Identifiers make_remap_plan(const StreamFacts& facts, const RemapRequest& request) {
    return Planner(facts, request).make();
}

}  // namespace zvprobe
