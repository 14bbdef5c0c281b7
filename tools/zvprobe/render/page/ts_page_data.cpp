// SPDX-License-Identifier: MIT
// The data of the HTML report about a transport stream.
#include <algorithm>
#include <functional>
#include <numeric>
#include <utility>

#include "mpeg/ts_packet/packet_fields.h"
#include "render/page/page_data.h"

namespace zvprobe {
namespace {

constexpr int kDecimals = 3;  // of milliseconds, nanoseconds and bit/s
constexpr int kSecondsDecimals = 6;

using Score = std::function<double(const Json&)>;

// -> the entries with the highest scores, in the order in which they stand
Json keep_highest(const Json& list, size_t most, const Score& score) {
    if (list.size() <= most) return list;
    std::vector<std::pair<double, size_t>> ranks;
    for (size_t i = 0; i < list.size(); ++i)
        ranks.emplace_back(-score(list[i]), i);
    std::ranges::nth_element(ranks, ranks.begin() + static_cast<std::ptrdiff_t>(most));
    ranks.resize(most);
    std::ranges::sort(ranks, {}, &std::pair<double, size_t>::second);
    Json kept = Json::array();
    for (const auto& [rank, i] : ranks)
        kept.push_back(list[i]);
    return kept;
}

Json first_of(const Json& list, size_t most) {
    Json kept = Json::array();
    for (size_t i = 0; i < std::min(most, list.size()); ++i)
        kept.push_back(list[i]);
    return kept;
}

// A column of a list that is written as rows: how the page calls it, and where its value is.
struct Column {
    const char* name;
    const char* place;  // JSON pointer
    int decimals = 0;
};

Json cell(const Json& entry, const Column& column) {
    const Json::json_pointer place(column.place);
    return entry.contains(place) ? rounded(entry[place], column.decimals) : Json(nullptr);
}

Json rows_of(const Json& list, std::span<const Column> columns) {
    Json names = Json::array();
    for (const Column& column : columns)
        names.push_back(column.name);
    Json rows = Json::array();
    for (const Json& entry : list) {
        Json row = Json::array();
        for (const Column& column : columns)
            row.push_back(cell(entry, column));
        rows.push_back(std::move(row));
    }
    return {{"columns", std::move(names)}, {"rows", std::move(rows)}};
}

double number_at(const Json& entry, const char* place) {
    const Json::json_pointer pointer(place);
    return entry.contains(pointer) && entry[pointer].is_number() ? entry[pointer].get<double>() : 0;
}

// Errors outweigh packets, however many those are.
double weight_of_pid(const Json& pid) {
    constexpr double kErrorWeight = 1e15;
    const double errors = number_at(pid, "/continuity/errors") +
                          number_at(pid, "/transport_errors") + number_at(pid, "/crc_errors");
    return errors * kErrorWeight + number_at(pid, "/packets");
}

Json pids_data(const Json& pids, const PageBounds& bounds) {
    static constexpr Column kColumns[] = {
        {"pid", "/pid"},
        {"use", "/use"},
        {"programs", "/programs"},
        {"codec", "/codec"},
        {"packets", "/packets"},
        {"bit_rate_bps", "/bit_rate_bps"},
        {"cc_errors", "/continuity/errors"},
        {"lost", "/continuity/lost"},
        {"transport_errors", "/transport_errors"},
        {"crc_errors", "/crc_errors"},
        {"scrambled_packets", "/scrambled_packets"},
        {"pcr_max_ms", "/pcr/interval_ms/max", kDecimals},
        {"ahead_min_ms", "/pts/ahead_ms/min", kDecimals},
        {"first_s", "/first_s", kDecimals},
        {"last_s", "/last_s", kDecimals},
    };
    Json kept = keep_highest(pids, bounds.pids, weight_of_pid);
    for (Json& pid : kept)
        cut_to(pid["programs"], bounds);
    return rows_of(kept, kColumns);
}

Json tables_data(const Json& tables, const PageBounds& bounds) {
    static constexpr Column kColumns[] = {
        {"pid", "/pid"},
        {"table_id", "/table_id"},
        {"name", "/name"},
        {"extension", "/extension"},
        {"versions", "/versions"},
        {"sections", "/sections"},
        {"interval_min_ms", "/interval_ms/min", kDecimals},
        {"interval_mean_ms", "/interval_ms/mean", kDecimals},
        {"interval_max_ms", "/interval_ms/max", kDecimals},
    };
    return rows_of(first_of(tables, bounds.entries), kColumns);
}

Json events_data(const Json& events, const PageBounds& bounds) {
    static constexpr Column kColumns[] = {
        {"time_s", "/time_s", kSecondsDecimals},
        {"offset", "/offset"},
        {"pid", "/pid"},
        {"kind", "/kind"},
        {"indicator", "/indicator"},
        {"message", "/message"},
    };
    Json list = first_of(events["list"], bounds.entries);
    cut_to(list, bounds);
    return {{"total", events["total"]}, {"list", rows_of(list, kColumns)}};
}

// Descriptors are for programs to read.
Json programs_data(const Json& programs, const PageBounds& bounds) {
    Json kept = first_of(programs, bounds.entries / 2);
    for (Json& program : kept) {
        program.erase("descriptors");
        program["streams"] = first_of(program["streams"], bounds.streams);
        for (Json& stream : program["streams"])
            stream.erase("descriptors");
    }
    cut_to(kept, bounds);
    return rounded(std::move(kept), kDecimals);
}

double sum_of(const Json& values) {
    return std::accumulate(values.begin(), values.end(), 0.0, [](double sum, const Json& value) {
        return value.is_number() ? sum + value.get<double>() : sum;
    });
}

void add_to(Json& sums, const Json& values) {
    for (size_t i = 0; i < std::min(sums.size(), values.size()); ++i)
        if (values[i].is_number())
            sums[i] =
                values[i].get<uint64_t>() + (sums[i].is_number() ? sums[i].get<uint64_t>() : 0);
}

// The largest PIDs by name, null packets always; the rest together.
void keep_largest(Json& history, size_t most) {
    const auto is_null = [](const Json& one) { return one["pid"] == zv::kPidNull; };
    const Json all = std::move(history["packets"]);
    history["packets"] = keep_highest(all, most, [&](const Json& one) {
        return is_null(one) ? std::numeric_limits<double>::max() : sum_of(one["packets"]);
    });
    const auto is_kept = [&](const Json& one) {
        return std::ranges::any_of(history["packets"],
                                   [&](const Json& kept) { return kept["pid"] == one["pid"]; });
    };
    for (const Json& one : all) {
        if (is_kept(one)) continue;
        Json& others = history["other_packets"];
        if (others.is_null()) others = Json(one["packets"].size(), 0);
        add_to(others, one["packets"]);
    }
}

// The worst of a plot's series: those with the largest figure.
Score largest_of(const char* figure) {
    return [figure](const Json& one) {
        double largest = 0;
        if (one[figure].is_null()) return largest;
        for (const Json& value : one[figure]["max"])
            if (value.is_number()) largest = std::max(largest, value.get<double>());
        return largest;
    };
}

// The lower the time stamps over the clock, the worse.
double lateness(const Json& one) {
    double least = 1e300;
    for (const Json& value : one["ahead_ms"]["min"])
        if (value.is_number()) least = std::min(least, value.get<double>());
    return -least;
}

Json history_data(const Json& all, const PageBounds& bounds) {
    Json history = all;
    keep_largest(history, bounds.series + 1);
    history["pcr"] = keep_highest(all["pcr"], bounds.series, largest_of("interval_ms"));
    history["pts"] = keep_highest(all["pts"], bounds.series, lateness);
    history["tables"] = keep_highest(all["tables"], bounds.series, largest_of("interval_ms"));
    for (const char* const list : {"pcr", "pts", "tables"})
        history[list] = rounded(std::move(history[list]), kDecimals);
    return history;
}

// Of the indicators whose figures are plotted.
Json limits_data(const ZvSurveyLimits& limits) {
    const auto or_default = [](double value, double usual) { return value > 0 ? value : usual; };
    return {{"pcr_interval_ms", or_default(limits.pcr_repetition_s, 0.1) * 1000},
            {"pcr_accuracy_ns", or_default(limits.pcr_accuracy_ns, 500)}};
}

uint64_t left_out(const Json& survey, const char* list, size_t kept) {
    const auto already =
        static_cast<uint64_t>(number_at(survey, ("/" + std::string(list) + "_left_out").c_str()));
    return survey[list].size() - kept + already;
}

}  // namespace

Json page_data(const TsReport& report, const PageBounds& bounds) {
    const Json& survey = report.survey;
    Json data;
    for (const char* const name :
         {"packet_size", "bytes", "packets", "trailing_bytes", "null_packets", "transport_errors",
          "sync", "clock", "transport_stream_id", "network", "utc", "crc_errors", "tr101290"})
        data[name] = survey[name];
    data["sync"].erase("loss_list");
    data["programs"] = programs_data(survey["programs"], bounds);
    data["programs_left_out"] = left_out(survey, "programs", data["programs"].size());
    data["pids"] = pids_data(survey["pids"], bounds);
    data["pids_left_out"] = left_out(survey, "pids", data["pids"]["rows"].size());
    data["tables"] = tables_data(survey["tables"], bounds);
    data["tables_left_out"] = left_out(survey, "tables", data["tables"]["rows"].size());
    data["events"] = events_data(survey["events"], bounds);
    data["limits"] = limits_data(report.limits);
    const bool has_history = survey.contains("history");
    const bool shown = has_history && bounds.history;
    data["history"] = shown ? history_data(survey["history"], bounds) : Json(nullptr);
    data["history_left_out"] = has_history && !shown;
    return data;
}

}  // namespace zvprobe
