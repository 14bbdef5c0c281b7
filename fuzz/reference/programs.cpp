// SPDX-License-Identifier: MIT
// Programmes and PIDs of the reference survey as JSON, by the tables that were in force last.
#include <algorithm>
#include <cstdio>
#include <set>

#include "report.h"
#include "text.h"

namespace fuzz::reference {
namespace {

constexpr size_t kMaxLanguages = 64;

std::string hexadecimal(Bytes bytes) {
    std::string text;
    for (const uint8_t byte : bytes) {
        char digits[3];
        snprintf(digits, sizeof digits, "%02x", byte);
        text += digits;
    }
    return text;
}

Json range_json(const Range& range) {
    return {{"min", range.min}, {"max", range.max}};
}

std::vector<std::string> languages_in(Bytes descriptors) {
    std::vector<std::string> languages;
    for (const Descriptor& descriptor : descriptors_in(descriptors)) {
        size_t entry = 0;
        if (descriptor.tag == 0x0A) entry = 4;
        if (descriptor.tag == 0x46 || descriptor.tag == 0x56) entry = 5;
        if (descriptor.tag == 0x59) entry = 8;
        for (Bytes rest = descriptor.data; entry != 0 && rest.size() >= entry;
             rest = rest.subspan(entry)) {
            const std::string language = latin1_text(rest.first(3));
            const bool listed = std::ranges::find(languages, language) != languages.end();
            if (!listed && languages.size() < kMaxLanguages) languages.push_back(language);
        }
    }
    return languages;
}

std::set<uint16_t> ca_systems_in(Bytes descriptors) {
    std::set<uint16_t> systems;
    for (const Descriptor& descriptor : descriptors_in(descriptors)) {
        if (descriptor.tag == kTagCa && descriptor.data.size() >= 4)
            systems.insert(be16(descriptor.data, 0));
    }
    return systems;
}

}  // namespace

Json statistics_json(const std::vector<double>& values) {
    if (values.empty()) return nullptr;
    double sum = 0;
    for (const double value : values)
        sum += value;
    return {{"min", *std::ranges::min_element(values)},
            {"mean", sum / static_cast<double>(values.size())},
            {"max", *std::ranges::max_element(values)}};
}

Json Report::service_json(uint16_t program_number) const {
    const auto service = tables().service(program_number);
    if (!service) return nullptr;
    Json out = {{"name", service->name}, {"provider", nullptr}, {"type", service->type}};
    if (service->provider) out["provider"] = *service->provider;
    return out;
}

uint64_t Report::packets_of(const Program& program) const {
    std::set<uint16_t> counted{program.pmt_pid};
    if (program.pmt != nullptr && program.pmt->pcr_pid != kNullPid)
        counted.insert(program.pmt->pcr_pid);
    if (program.pmt != nullptr) {
        for (const Stream& stream : program.pmt->streams)
            counted.insert(stream.pid);
    }
    uint64_t packets = 0;
    for (const uint16_t pid : counted) {
        if (pids_.contains(pid)) packets += pids_.at(pid).packets;
    }
    return packets;
}

Json Report::program_json(const Program& program) const {
    const Pmt none{};
    const Pmt& pmt = program.pmt == nullptr ? none : *program.pmt;
    Json streams = Json::array();
    std::set<uint16_t> ca_systems = ca_systems_in(pmt.descriptors);
    bool scrambled = false;
    for (const Stream& stream : pmt.streams) {
        streams.push_back({{"pid", stream.pid},
                           {"stream_type", stream.type},
                           {"languages", languages_in(stream.descriptors)},
                           {"descriptors", hexadecimal(stream.descriptors)}});
        ca_systems.merge(ca_systems_in(stream.descriptors));
        scrambled |= pids_.contains(stream.pid) && pids_.at(stream.pid).scrambled_packets > 0;
    }
    const bool has_pcr = program.pmt != nullptr && pmt.pcr_pid != kNullPid;
    return {{"program_number", program.number},
            {"pmt_pid", program.pmt_pid},
            {"pmt_version", program.pmt == nullptr ? Json() : Json(pmt.version)},
            {"pcr_pid", has_pcr ? Json(pmt.pcr_pid) : Json()},
            {"service", service_json(program.number)},
            {"descriptors", hexadecimal(pmt.descriptors)},
            {"ca_system_ids", ca_systems},
            {"scrambled", scrambled},
            {"bit_rate_bps", rate_json(packets_of(program))},
            {"streams", streams}};
}

void Report::list_names() {
    for (const Program& program : tables().programs()) {
        for (const uint16_t pid : pids_of(program))
            names_[pid].programs.insert(program.number);
        names_[program.pmt_pid].pmt = true;
        if (program.pmt == nullptr) continue;
        for (const uint16_t pid : program.pmt->ca_pids())
            names_[pid].ecm = true;
        names_[program.pmt->pcr_pid].pcr = true;
        for (const Stream& stream : program.pmt->streams) {
            Naming& naming = names_[stream.pid];
            if (naming.stream != nullptr) continue;
            naming.stream = &stream;
            naming.stream_of = program.pmt;
        }
    }
    for (const auto& [pid, facts] : pids_)
        names_.try_emplace(pid);
    for (const Section& section : sections_) {
        if (!section.sound) ++crc_errors_[section.pid];
    }
}

// -> nothing when only the stream's content tells
std::optional<std::string> Report::use(uint16_t pid) const {
    static const std::map<uint16_t, const char*> kFixed = {
        {kPidPat, "pat"},     {kPidCat, "cat"},  {kPidTsdt, "tsdt"}, {kPidNit, "nit"},
        {kPidSdt, "sdt_bat"}, {kPidEit, "eit"},  {kPidRst, "rst"},   {kPidTdt, "tdt_tot"},
        {kPidPsip, "psip"},   {kNullPid, "null"}};
    const auto fixed = kFixed.find(pid);
    if (fixed != kFixed.end()) return fixed->second;
    const Naming& naming = names_.at(pid);
    if (naming.pmt) return "pmt";
    if (tables().network_pids()[pid]) return "nit";
    if (tables().emm_pids()[pid]) return "emm";
    if (naming.ecm) return "ecm";
    if (naming.stream != nullptr) {
        constexpr const char* kKinds[] = {nullptr,    "video", "audio",
                                          "subtitle", "data",  "sections"};
        const char* const kind =
            kKinds[static_cast<size_t>(kind_of(*naming.stream, *naming.stream_of))];
        return kind == nullptr ? std::nullopt : std::optional<std::string>(kind);
    }
    if (naming.pcr) return "pcr";
    return pid <= 0x1F ? "reserved" : "unreferenced";
}

Json Report::pid_json(uint16_t pid, const PidFacts& facts) const {
    Json out = {{"pid", pid}};
    if (const auto known = use(pid)) out["use"] = *known;
    const Naming& naming = names_.at(pid);
    out["programs"] = naming.programs;
    out["stream_type"] = nullptr;
    if (naming.stream != nullptr) out["stream_type"] = naming.stream->type;
    out["packets"] = facts.packets;
    out["bit_rate_bps"] = rate_json(facts.packets);
    out["scrambled_packets"] = facts.scrambled_packets;
    out["transport_errors"] = facts.transport_errors;
    out["unit_starts"] = facts.unit_starts;
    out["random_access_points"] = facts.random_access_points;
    out["crc_errors"] = crc_errors_.contains(pid) ? crc_errors_.at(pid) : 0;
    out["continuity"] = nullptr;
    if (pid != kNullPid)
        out["continuity"] = {{"errors", facts.errors},
                             {"lost", facts.lost},
                             {"duplicates", facts.duplicates},
                             {"signalled", facts.signalled}};
    out["pcr"] = pcr_json(pid, facts);
    out["pts"] = pts_json(pid, facts);
    const bool timed = clock_.known() && facts.packets > 0;
    out["first_s"] = timed ? Json(clock_.seconds_at(facts.first_offset)) : Json();
    out["last_s"] = timed ? Json(clock_.seconds_at(facts.last_offset)) : Json();
    return out;
}

Json Report::pcr_json(uint16_t pid, const PidFacts& facts) const {
    if (facts.pcrs.empty()) return nullptr;
    std::vector<double> intervals;
    uint64_t jumps = 0, signalled = 0;
    for (const Pcr& pcr : facts.pcrs) {
        if (pcr.first) continue;
        signalled += pcr.signalled;
        jumps += pcr.jump && !pcr.signalled;
        if (pcr.sound()) intervals.push_back(static_cast<double>(pcr.step) / 27000);
    }
    Json out = {{"count", facts.pcrs.size()},
                {"interval_ms", statistics_json(intervals)},
                {"jumps", jumps},
                {"signalled", signalled},
                {"accuracy_ns", nullptr},
                {"drift_ppm", nullptr}};
    const auto accuracy = accuracy_.find(pid);
    if (accuracy != accuracy_.end() && accuracy->second.ns)
        out["accuracy_ns"] = range_json(*accuracy->second.ns);
    if (const auto drift = drift_ppm(losses_, facts, clock_)) out["drift_ppm"] = *drift;
    return out;
}

Json Report::pts_json(uint16_t pid, const PidFacts& facts) const {
    const auto& stamps = facts.time_stamps;
    if (stamps.empty()) return nullptr;
    std::vector<double> intervals;
    for (size_t i = 1; i < stamps.size() && clock_.known(); ++i)
        intervals.push_back(ms_at(stamps[i].offset) - ms_at(stamps[i - 1].offset));
    const auto has_dts = [](const TimeStamps& one) { return one.dts.has_value(); };
    const auto ahead = findings_.ahead_ms.find(pid);
    return {{"count", stamps.size()},
            {"dts_count", std::ranges::count_if(stamps, has_dts)},
            {"first_s", static_cast<double>(stamps.front().pts) / 90000},
            {"last_s", static_cast<double>(stamps.back().pts) / 90000},
            {"interval_ms", statistics_json(intervals)},
            {"ahead_ms", ahead == findings_.ahead_ms.end() ? Json() : range_json(ahead->second)}};
}

}  // namespace fuzz::reference
