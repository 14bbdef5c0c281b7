// SPDX-License-Identifier: MIT
// Does the history in a survey's JSON add up to the totals beside it? And is one of the latest time
// the end of one of all time? For tests and fuzz targets.
#pragma once

#include <algorithm>
#include <cmath>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

namespace zvtest {

class HistoryCheck {
  public:
    using Json = nlohmann::json;

    // survey  in  of a finished stream
    // span_s  in  the latest time that was asked for; 0: all of it
    explicit HistoryCheck(const Json& survey, uint32_t span_s = 0)
        : survey_(survey),
          history_(survey.at("history")),
          steps_(history_.at("steps")),
          span_s_(span_s),
          rolled_(history_.at("start_s") > 0) {
        for (const Json& pid : survey.at("pids"))
            pids_[pid.at("pid").get<int>()] = &pid;
    }

    // -> what disagrees first; "" when all is well
    std::string run() {
        check_steps();
        for (const Json& row : history_.at("packets"))
            expect_sum(row.at("packets"), pid(row).at("packets"), row);
        check_others();
        check_pcrs();
        check_pts();
        check_tables();
        for (const Json& row : history_.at("events"))
            if (judged_) expect_sum(row.at("counts"), indicator(row).at("count"), row);
        check_none_is_missing();
        return wrong_;
    }

  private:
    void expect(bool holds, const Json& where) {
        if (!holds && wrong_.empty()) wrong_ = where.dump();
    }

    void check_steps() {
        const double doublings = std::log2(history_.at("step_s").get<double>() / 0.1);
        expect(doublings >= 0 && doublings == std::round(doublings), history_.at("step_s"));
        expect(steps_ <= 600 && (doublings == 0 || rolled_ || steps_ > 300), history_.at("steps"));
        const double tenth_s = std::exp2(doublings) * 6;
        if (span_s_ > 0)
            expect(doublings == 0 || 9 * tenth_s < 2.0 * span_s_, history_.at("step_s"));
        if (rolled_) check_window(tenth_s);
        // Damaged packets alone make steps, and no row.
        bool whole = false;
        for (const Json& pid : survey_.at("pids"))
            whole |= pid.at("packets") > 0;
        expect((steps_ > 0 && whole) == !history_.at("packets").empty(), history_.at("steps"));
    }

    // Nine tenths of the steps are as long as the span, and there are as many before the latest.
    void check_window(double tenth_s) {
        expect(span_s_ > 0 && 9 * tenth_s >= span_s_, history_.at("step_s"));
        expect(steps_ > 540, history_.at("steps"));
        const double start_s = history_.at("start_s");
        expect(std::fmod(start_s, tenth_s) == 0, history_.at("start_s"));
    }

    void check_others() {
        uint64_t others = 0, rows = 0;
        std::set<int> with_row;
        for (const Json& row : history_.at("packets"))
            with_row.insert(row.at("pid").get<int>());
        for (const Json& pid : survey_.at("pids")) {
            const bool has_row = with_row.contains(pid.at("pid").get<int>());
            rows += has_row;
            if (!has_row) others += pid.at("packets").get<uint64_t>();
        }
        if (steps_ == 0) return expect(history_.at("other_packets").is_null(), "no clock");
        expect(rows == 1024 || history_.at("other_packets").is_null(), "there is room for a row");
        if (others == 0) return;  // damaged packets belong to no row
        expect_sum(history_.at("other_packets"), others, "other_packets");
    }

    void check_pcrs() {
        for (const Json& row : history_.at("pcr")) {
            const Json& pcr = pid(row).at("pcr");
            expect_extremes(row.at("interval_ms"), pcr.at("interval_ms"), row);
            expect_extremes(row.at("accuracy_ns"), pcr.at("accuracy_ns"), row);
        }
    }

    void check_pts() {
        for (const Json& row : history_.at("pts"))
            check_pts_row(row);
    }

    void check_pts_row(const Json& row) {
        expect_extremes(row.at("ahead_ms"), pid(row).at("pts").at("ahead_ms"), row);
        expect(!most(row.at("ahead_ms").at("max")).is_null(), row);
    }

    void check_tables() {
        for (const Json& row : history_.at("tables")) {
            Json longest;
            for (const Json& table : survey_.at("tables")) {
                const bool same = table.at("pid") == row.at("pid") &&
                                  table.at("table_id") == row.at("table_id") &&
                                  !table.at("interval_ms").is_null();
                if (same) longest = greater(longest, table.at("interval_ms").at("max"));
            }
            const Json most_here = most(row.at("interval_ms").at("max"));
            expect(!most_here.is_null() && !longest.is_null(), row);
            expect(rolled_ ? most_here <= longest : most_here == longest, row);
        }
    }

    // What has a total has a row, or is said to have been left out.
    void check_none_is_missing() {
        if (steps_ == 0 || !judged_) return;
        for (const Json& pid : survey_.at("pids")) {
            const Json &pcr = pid.at("pcr"), &pts = pid.at("pts"), &number = pid.at("pid");
            if (!pcr.is_null() && !pcr.at("interval_ms").is_null())
                expect_row("pcr", number, "pcr_left_out");
            if (!pts.is_null() && !pts.at("ahead_ms").is_null())
                expect_row("pts", number, "pts_left_out");
        }
        for (const Json& one : survey_.at("tr101290"))
            if (!rolled_ && !one.at("count").is_null() && one.at("count") > 0)
                expect(!find(history_.at("events"), "number", one.at("id")).is_null(), one);
    }

    void expect_row(const char* list, const Json& pid, const char* left_out) {
        if (rolled_) return;
        expect(history_.contains(left_out) || !find(history_.at(list), "pid", pid).is_null(), pid);
    }

    void expect_extremes(const Json& rows, const Json& total, const Json& where) {
        if (!judged_) return;
        expect(rows.is_null() == total.is_null() || (rolled_ && rows.is_null()), where);
        if (rows.is_null() || total.is_null()) return;
        const Json low = least(rows.at("min")), high = most(rows.at("max"));
        if (rolled_ && low.is_null()) return expect(high.is_null(), where);
        expect(rolled_ ? low >= total.at("min") : low == total.at("min"), where);
        expect(rolled_ ? high <= total.at("max") : high == total.at("max"), where);
    }

    void expect_sum(const Json& counts, const Json& total, const Json& where) {
        const uint64_t here = sum(counts);
        expect(rolled_ ? here <= total : here == total, where);
    }

    static const Json& find(const Json& list, const char* member, const Json& value) {
        static const Json none;
        for (const Json& entry : list)
            if (entry.at(member) == value) return entry;
        return none;
    }
    const Json& pid(const Json& row) const { return *pids_.at(row.at("pid").get<int>()); }
    const Json& indicator(const Json& row) const {
        return find(survey_.at("tr101290"), "id", row.at("number"));
    }

    static Json greater(const Json& a, const Json& b) {
        if (a.is_null() || b.is_null()) return a.is_null() ? b : a;
        return a < b ? b : a;
    }
    Json most(const Json& values) {
        expect(values.size() == steps_, values);
        Json most;
        for (const Json& value : values)
            most = greater(most, value);
        return most;
    }
    Json least(const Json& values) {
        expect(values.size() == steps_, values);
        Json least;
        for (const Json& value : values)
            if (least.is_null() || (!value.is_null() && value < least)) least = value;
        return least;
    }
    uint64_t sum(const Json& counts) {
        expect(counts.size() == steps_, counts);
        uint64_t sum = 0;
        for (const Json& count : counts)
            sum += count.get<uint64_t>();
        return sum;
    }

    const Json& survey_;
    const Json& history_;
    const size_t steps_;
    const uint32_t span_s_;
    const bool rolled_;  // steps were dropped
    // What no clock came for in time is in the totals, but at no time.
    const bool judged_ = !survey_.contains("tr101290_left_out");
    std::map<int, const Json*> pids_;
    std::string wrong_;
};

// Compares a history of the latest time with one of all of it, whose steps are as long or longer:
// each of these that is in the window is what the steps there make together.
class WindowCheck {
  public:
    using Json = nlohmann::json;

    // packets  in  are compared, too; of files they are spread over each history's own steps
    WindowCheck(const Json& window, const Json& whole, bool packets)
        : window_(window), whole_(whole), packets_(packets) {
        const double step_s = window.at("step_s");
        ratio_ = static_cast<size_t>(std::lround(whole.at("step_s").get<double>() / step_s));
        start_ = static_cast<size_t>(std::lround(window.at("start_s").get<double>() / step_s));
    }

    // -> what disagrees first; "" when all is well
    std::string run() {
        const size_t end = start_ + window_.at("steps").get<size_t>();
        expect((end + ratio_ - 1) / ratio_ == whole_.at("steps"), window_.at("steps"));
        for (const char* const list : {"pcr", "pts", "tables", "events"})
            check_list(list);
        if (!packets_) return wrong_;
        check_list("packets");
        check_values("other_packets", window_.at("other_packets"), whole_.at("other_packets"));
        return wrong_;
    }

  private:
    void expect(bool holds, const Json& where) {
        if (!holds && wrong_.empty()) wrong_ = "in the window " + where.dump();
    }

    // A PID that got its row late lacks what came before.
    void check_list(const std::string& list) {
        const std::string left_out = list + "_left_out";
        if (window_.contains(left_out) || whole_.contains(left_out)) return;
        for (const Json& row : window_.at(list))
            expect(!same_row(whole_.at(list), row).is_null(), row);
        for (const Json& row : whole_.at(list)) {
            const Json& here = same_row(window_.at(list), row);
            for (const auto& [name, values] : row.items())
                check_values(name, member(here, name), values);
        }
    }

    void check_values(const std::string& name, const Json& here, const Json& whole) {
        if (whole.is_object())
            for (const auto& [inner, values] : whole.items())
                check_values(inner, member(here, inner), values);
        if (!whole.is_array()) return;
        for (size_t step = (start_ + ratio_ - 1) / ratio_; step < whole.size(); ++step)
            if (joined(name, here, step) != whole[step]) expect(false, {name, step, here, whole});
    }

    // -> what the window's steps make together; a row that is not there has nothing
    Json joined(const std::string& name, const Json& here, size_t step) const {
        const bool extremes = name == "min" || name == "max";
        Json all = extremes ? Json() : Json(0u);
        if (here.is_null()) return all;
        const size_t first = step * ratio_ - start_;
        for (size_t i = first; i < std::min(first + ratio_, here.size()); ++i) {
            const Json& value = here[i];
            if (!extremes)
                all = all.get<uint64_t>() + value.get<uint64_t>();
            else if (!value.is_null() && (all.is_null() || (name == "min") == (value < all)))
                all = value;
        }
        return all;
    }

    static const Json& member(const Json& object, const std::string& name) {
        static const Json none;
        return object.is_null() ? none : object.at(name);
    }
    static const Json& same_row(const Json& list, const Json& row) {
        static const Json none;
        for (const Json& candidate : list) {
            bool same = true;
            for (const char* const key : {"pid", "table_id", "number"})
                same &= !row.contains(key) || candidate.at(key) == row.at(key);
            if (same) return candidate;
        }
        return none;
    }

    const Json& window_;
    const Json& whole_;
    const bool packets_;
    size_t ratio_, start_;  // in steps of the window
    std::string wrong_;
};

}  // namespace zvtest
