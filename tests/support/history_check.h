// SPDX-License-Identifier: MIT
// Does the history in a survey's JSON add up to the totals beside it? For tests and fuzz targets.
#pragma once

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
    explicit HistoryCheck(const Json& survey)
        : survey_(survey), history_(survey.at("history")), steps_(history_.at("steps")) {
        for (const Json& pid : survey.at("pids"))
            pids_[pid.at("pid").get<int>()] = &pid;
    }

    // -> what disagrees first; "" when all is well
    std::string run() {
        check_steps();
        for (const Json& row : history_.at("packets"))
            expect(sum(row.at("packets")) == pid(row).at("packets"), row);
        check_others();
        check_pcrs();
        check_pts();
        check_tables();
        for (const Json& row : history_.at("events"))
            if (judged_) expect(sum(row.at("counts")) == indicator(row).at("count"), row);
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
        expect(steps_ <= 600 && (doublings == 0 || steps_ > 300), history_.at("steps"));
        // Damaged packets alone make steps, and no row.
        bool whole = false;
        for (const Json& pid : survey_.at("pids"))
            whole |= pid.at("packets") > 0;
        expect((steps_ > 0 && whole) == !history_.at("packets").empty(), history_.at("steps"));
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
        expect(sum(history_.at("other_packets")) == others, "other_packets");
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
            expect_extremes(row.at("ahead_ms"), pid(row).at("pts").at("ahead_ms"), row);
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
            expect(most(row.at("interval_ms").at("max")) == longest, row);
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
            if (!one.at("count").is_null() && one.at("count") > 0)
                expect(!find(history_.at("events"), "number", one.at("id")).is_null(), one);
    }

    void expect_row(const char* list, const Json& pid, const char* left_out) {
        expect(history_.contains(left_out) || !find(history_.at(list), "pid", pid).is_null(), pid);
    }

    void expect_extremes(const Json& rows, const Json& total, const Json& where) {
        if (!judged_) return;
        expect(rows.is_null() == total.is_null(), where);
        if (rows.is_null() || total.is_null()) return;
        expect(least(rows.at("min")) == total.at("min"), where);
        expect(most(rows.at("max")) == total.at("max"), where);
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
    // What no clock came for in time is in the totals, but at no time.
    const bool judged_ = !survey_.contains("tr101290_left_out");
    std::map<int, const Json*> pids_;
    std::string wrong_;
};

}  // namespace zvtest
