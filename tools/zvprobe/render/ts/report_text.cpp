// SPDX-License-Identifier: MIT
// The text about a transport stream: what it is, what is in it, what is wrong with it. The
// resolver's account follows where it was asked for.
#include "render/text_table.h"
#include "render/ts/ts_text_parts.h"

namespace zvprobe {
namespace {

// What the whole stream is: size, time, network.
class TsHead {
  public:
    TsHead(std::ostream& out, const TsReport& report, const Style& style)
        : out_(out), survey_(report.survey), style_(style) {}

    void print() const {
        line("format") << "MPEG transport stream, " << survey_["packet_size"] << "-byte packets\n";
        line("size") << counted(survey_["bytes"], "byte", "bytes") << ", "
                     << counted(survey_["packets"], "packet", "packets") << '\n';
        print_clock();
        print_network();
        print_time();
    }

  private:
    std::ostream& line(std::string_view label) const { return begin_line(out_, style_, label); }

    void print_clock() const {
        const Json& clock = survey_["clock"];
        std::vector<std::string> parts;
        if (const auto seconds = figure(clock, "duration_s")) parts.push_back(time_text(*seconds));
        if (const auto rate = figure(clock, "bit_rate_bps")) parts.push_back(rate_text(*rate));
        const Json& constant = clock["constant_rate"];
        if (constant.is_boolean())
            parts.emplace_back(constant.get<bool>() ? "constant rate" : "variable rate");
        if (const auto pid = figure(clock, "pcr_pid"))
            parts.push_back("clock of PID " + pid_text(static_cast<uint16_t>(*pid)));
        if (!parts.empty()) line("duration") << wrapped(parts, kLabelEnd, kLabelEnd) << '\n';
    }

    void print_network() const {
        std::vector<std::string> parts;
        if (const Json& network = survey_["network"]; !network.is_null()) {
            if (network["name"].is_string()) parts.push_back(in_quotes(text_of(network, "name")));
            parts.push_back("network_id " + network["network_id"].dump());
        }
        if (const auto id = figure(survey_, "transport_stream_id"))
            parts.push_back("transport_stream_id " + number_text(*id));
        const bool named = !survey_["network"].is_null();
        if (!parts.empty())
            line(named ? "network" : "stream") << wrapped(parts, kLabelEnd, kLabelEnd) << '\n';
    }

    void print_time() const {
        const Json& utc = survey_["utc"];
        if (utc.is_null()) return;
        line("time") << printable(text_of(utc, "first"));
        if (utc["last"] != utc["first"]) out_ << " to " << printable(text_of(utc, "last"));
        out_ << '\n';
    }

    std::ostream& out_;
    const Json& survey_;
    const Style& style_;
};

}  // namespace

std::optional<double> figure(const Json& object, const char* name) {
    const Json& value = object[name];
    return value.is_number() ? std::optional(value.get<double>()) : std::nullopt;
}

std::string text_of(const Json& object, const char* name) {
    const Json& value = object[name];
    return value.is_string() ? value.get<std::string>() : std::string();
}

std::string rate_text(double bits_per_second) {
    constexpr double kMega = 1e6;
    return bits_per_second < kMega ? fixed(bits_per_second / 1000, 1) + " kbit/s"
                                   : fixed(bits_per_second / kMega, 3) + " Mbit/s";
}

std::string rate_text(const Json& object) {
    const auto rate = figure(object, "bit_rate_bps");
    return rate ? rate_text(*rate) : std::string();
}

std::string interval_heading(const TsReport& report) {
    return report.interval ? "last " + fixed(report.interval->seconds, 1) + " s" : std::string();
}

Cell errors_cell(const Json& pid) {
    std::vector<std::string> parts;
    const Json& continuity = pid["continuity"];
    if (!continuity.is_null() && continuity["errors"] != 0)
        parts.push_back(counted(continuity["errors"], "gap", "gaps") + ", " +
                        continuity["lost"].dump() + " lost");
    if (pid["crc_errors"] != 0) parts.push_back(pid["crc_errors"].dump() + " CRC");
    if (pid["transport_errors"] != 0) parts.push_back(pid["transport_errors"].dump() + " marked");
    if (parts.empty()) return {"none"};
    std::string text;
    for (const std::string& part : parts)
        text += (text.empty() ? "" : ", ") + part;
    return {text, true};
}

void print_text(std::ostream& out, const TsReport& report, const TextOptions& options) {
    TsHead(out, report, options.style).print();
    print_programs(out, report, options.style);
    print_other_pids(out, report, options.style);
    print_faults(out, report, options.style);
    print_indicators(out, report, options.style);
    print_changes(out, report.events, options.style);
    if (options.resolver || options.statistics) print_resolver(out, report, options);
}

}  // namespace zvprobe
