// SPDX-License-Identifier: MIT
// The reference survey as JSON: what belongs to the stream as a whole.
#include "report.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace fuzz::reference {
namespace {

constexpr size_t kMaxListed = 1000;

// Modified Julian date and binary-coded decimal time (ETSI EN 300 468, annex C).
// -> nothing when it is none
std::optional<std::string> utc_text(Bytes utc) {
    std::array<int, 3> time{};
    for (size_t i = 0; i < time.size(); ++i) {
        const int tens = utc[2 + i] >> 4, ones = utc[2 + i] & 15;
        if (tens > 9 || ones > 9) return std::nullopt;
        time[i] = tens * 10 + ones;
    }
    if (time[0] > 23 || time[1] > 59 || time[2] > 59) return std::nullopt;
    // Days from 1 March of a year divisible by 400, so that the leap day is a year's last.
    const int days = be16(utc, 0) + 678881;
    const int era = days / 146097, of_era = days % 146097;
    const int year = (of_era - of_era / 1460 + of_era / 36524 - of_era / 146096) / 365;
    const int of_year = of_era - (365 * year + year / 4 - year / 100);
    const int month = (5 * of_year + 2) / 153;
    const int day = of_year - (153 * month + 2) / 5 + 1;
    char text[64];
    snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02dZ",
             year + era * 400 + (month >= 10 ? 1 : 0), month < 10 ? month + 3 : month - 9, day,
             time[0], time[1], time[2]);
    return text;
}

struct TableRecord {
    const Section* latest = nullptr;
    uint64_t sections = 0;
    std::vector<uint8_t> versions;
    std::optional<uint64_t> last_start;
    std::vector<double> intervals;
};

enum class Needs { kNothing, kClock, kConstantRate, kMore };
struct Indicator {
    const char* id;
    const char* name;
    int priority;
    Needs needs;
};
constexpr Indicator kIndicators[] = {
    {"1.1", "TS_sync_loss", 1, Needs::kNothing},
    {"1.2", "Sync_byte_error", 1, Needs::kNothing},
    {"1.3.a", "PAT_error_2", 1, Needs::kClock},
    {"1.4", "Continuity_count_error", 1, Needs::kNothing},
    {"1.5.a", "PMT_error_2", 1, Needs::kClock},
    {"1.6", "PID_error", 1, Needs::kClock},
    {"2.1", "Transport_error", 2, Needs::kNothing},
    {"2.2", "CRC_error", 2, Needs::kNothing},
    {"2.3.a", "PCR_repetition_error", 2, Needs::kClock},
    {"2.3.b", "PCR_discontinuity_indicator_error", 2, Needs::kNothing},
    {"2.4", "PCR_accuracy_error", 2, Needs::kConstantRate},
    {"2.5", "PTS_error", 2, Needs::kClock},
    {"2.6", "CAT_error", 2, Needs::kClock},
    {"3.1.a", "NIT_actual_error", 3, Needs::kClock},
    {"3.1.b", "NIT_other_error", 3, Needs::kClock},
    {"3.2", "SI_repetition_error", 3, Needs::kClock},
    {"3.3", "Buffer_error", 3, Needs::kMore},
    {"3.4.a", "Unreferenced_PID", 3, Needs::kClock},
    {"3.5.a", "SDT_actual_error", 3, Needs::kClock},
    {"3.5.b", "SDT_other_error", 3, Needs::kClock},
    {"3.6.a", "EIT_actual_error", 3, Needs::kClock},
    {"3.6.b", "EIT_other_error", 3, Needs::kClock},
    {"3.6.c", "EIT_PF_error", 3, Needs::kClock},
    {"3.7", "RST_error", 3, Needs::kClock},
    {"3.8", "TDT_error", 3, Needs::kClock},
    {"3.9", "Empty_buffer_error", 3, Needs::kMore},
    {"3.10", "Data_delay_error", 3, Needs::kMore},
};

}  // namespace

Json Report::json() const {
    uint64_t transport_errors = 0;
    for (const auto& [pid, facts] : pids_)
        transport_errors += facts.transport_errors;
    const auto nulls = pids_.find(kNullPid);
    Json out;
    out["packet_size"] = framing_.packet_size;
    out["bytes"] = framing_.bytes;
    out["packets"] = framing_.packets.size();
    out["trailing_bytes"] = framing_.trailing_bytes;
    out["null_packets"] = nulls == pids_.end() ? 0 : nulls->second.packets;
    out["transport_errors"] = transport_errors;
    out["sync"] = sync_json();
    out["clock"] = clock_json();
    out["transport_stream_id"] = nullptr;
    if (const auto id = tables().transport_stream_id()) out["transport_stream_id"] = *id;
    out["network"] = network_json();
    out["utc"] = utc_json();
    out["programs"] = Json::array();
    for (const Program& program : tables().programs())
        out["programs"].push_back(program_json(program));
    out["pids"] = Json::array();
    for (const auto& [pid, facts] : pids_)
        out["pids"].push_back(pid_json(pid, facts));
    out["tables"] = tables_json();
    out["crc_errors"] = std::ranges::count(sections_, false, &Section::sound);
    out["crc_error_list"] = crc_errors_json();
    out["tr101290"] = indicators_json();
    return out;
}

Json Report::sync_json() const {
    Json list = Json::array();
    for (const Loss& loss : framing_.losses)
        list.push_back({{"offset", loss.offset}, {"skipped_bytes", loss.skipped_bytes}});
    return {{"first_sync_offset", framing_.first_sync_offset},
            {"skipped_bytes", framing_.skipped_bytes},
            {"byte_errors", framing_.byte_errors.size()},
            {"losses", framing_.losses.size()},
            {"loss_list", list}};
}

Json Report::clock_json() const {
    Json out = {{"source", "none"},
                {"pcr_pid", nullptr},
                {"duration_s", nullptr},
                {"bit_rate_bps", nullptr},
                {"constant_rate", nullptr}};
    if (!clock_.known()) return out;
    out["source"] = "pcr";
    out["pcr_pid"] = clock_.pid();
    out["duration_s"] = clock_.duration_s();
    out["bit_rate_bps"] = clock_.bit_rate();
    if (clock_.constant_rate()) out["constant_rate"] = *clock_.constant_rate();
    return out;
}

Json Report::network_json() const {
    const auto network = tables().network();
    if (!network) return nullptr;
    Json out = {{"network_id", network->id}, {"name", nullptr}};
    if (network->name) out["name"] = *network->name;
    return out;
}

Json Report::utc_json() const {
    Json out;
    for (const Section& section : sections_) {
        const bool tells = section.table_id() == kTableTdt || section.table_id() == kTableTot;
        if (section.pid != kPidTdt || !section.sound || !tells || section.bytes.size() < 8)
            continue;
        const auto text = utc_text(Bytes(section.bytes).subspan(3));
        if (!text) continue;
        if (out.is_null()) out["first"] = *text;
        out["last"] = *text;
    }
    return out;
}

Json Report::tables_json() const {
    std::map<std::array<int, 3>, TableRecord> records;
    for (const Section& section : sections_) {
        if (!section.sound) continue;
        const int extension = section.is_long() ? section.extension() : -1;
        TableRecord& record = records[{section.pid, section.table_id(), extension}];
        record.latest = &section;
        ++record.sections;
        if (section.is_long() &&
            std::ranges::find(record.versions, section.version()) == record.versions.end())
            record.versions.push_back(section.version());
        if (section.is_long() && section.number() != 0) continue;
        if (record.last_start && clock_.known())
            record.intervals.push_back(ms_at(section.first_offset) - ms_at(*record.last_start));
        record.last_start = section.first_offset;
    }
    Json out = Json::array();
    for (const auto& [key, record] : records) {
        Json one = {{"pid", key[0]},
                    {"table_id", key[1]},
                    {"extension", nullptr},
                    {"version", nullptr},
                    {"versions", record.versions},
                    {"sections", record.sections},
                    {"last_section_number", nullptr},
                    {"interval_ms", statistics_json(record.intervals)}};
        if (key[2] >= 0) {
            one["extension"] = key[2];
            one["version"] = record.latest->version();
            one["last_section_number"] = record.latest->last_number();
        }
        out.push_back(one);
    }
    return out;
}

Json Report::crc_errors_json() const {
    Json out = Json::array();
    for (const Section& section : sections_) {
        if (section.sound || out.size() == kMaxListed) continue;
        out.push_back({{"offset", section.first_offset},
                       {"pid", section.pid},
                       {"table_id", section.table_id()}});
    }
    return out;
}

Json Report::indicators_json() const {
    Json out = Json::array();
    for (const Indicator& indicator : kIndicators) {
        const bool constant = clock_.known() && clock_.constant_rate() == true;
        const bool measured = indicator.needs == Needs::kNothing ||
                              (indicator.needs == Needs::kClock && clock_.known()) ||
                              (indicator.needs == Needs::kConstantRate && constant);
        const auto found = findings_.tallies.find(indicator.id);
        const Tally tally = found == findings_.tallies.end() ? Tally{} : found->second;
        const bool timed = measured && tally.count > 0;
        out.push_back({{"id", indicator.id},
                       {"name", indicator.name},
                       {"priority", indicator.priority},
                       {"measured", measured},
                       {"count", measured ? Json(tally.count) : Json()},
                       {"first_s", timed ? seconds_json(tally.first_ticks) : Json()},
                       {"last_s", timed ? seconds_json(tally.last_ticks) : Json()}});
    }
    return out;
}

}  // namespace fuzz::reference
