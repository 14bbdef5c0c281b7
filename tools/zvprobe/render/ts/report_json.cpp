// SPDX-License-Identifier: MIT
// The JSON about a transport stream: the survey's object, and the resolver's account as its last
// member.
#include <set>

#include "base/texts.h"
#include "mpeg/ts_packet/packet_fields.h"
#include "render/json_report.h"
#include "render/text_parts.h"
#include "ts/resolver.h"

namespace zvprobe {
namespace {

Json table_crc_errors(const TsReport& report) {
    std::set<uint16_t> tables;
    for (const Json& pid : report.survey["pids"])
        if (is_resolver_table(pid)) tables.insert(pid["pid"].get<uint16_t>());
    Json list = Json::array();
    for (const Json& error : report.survey["crc_error_list"])
        if (tables.contains(error["pid"].get<uint16_t>())) list.push_back(error);
    return list;
}

Json tables_json(const TsReport& report) {
    const TableFaults faults = table_faults(report);
    return {{"complete", report.resolver.tables_complete},
            {"progress", text_or_null(bounded(report.resolver.info->progress))},
            {"continuity", {{"errors", faults.errors}, {"lost", faults.lost}}},
            {"crc_errors", faults.crc_errors},
            {"crc_error_list", table_crc_errors(report)}};
}

Json stream_json(const StreamInfoEs& stream) {
    const size_t info_length = std::min<size_t>(stream.es_info_len, sizeof stream.es_info);
    return {{"pid", stream.pid},
            {"stream_type", stream.stream_type},
            {"type_name", bounded(stream.type_name)},
            {"kind", kind_name(stream.kind)},
            {"descriptors", hex_bytes(std::span(stream.es_info).first(info_length))},
            {"continuity",
             {{"checked", stream.cc_state.started != 0},
              {"errors", stream.cc_state.errnum},
              {"lost", stream.cc_state.lostnum}}},
            {"pcr_packets_not_in_pmt", stream.numPcr_noInPmt}};
}

Json service_json(const StreamInfoProgram& program) {
    if (program.has_service == 0) return nullptr;
    return {{"name", bounded(program.service_name)},
            {"provider", bounded(program.service_provider)},
            {"type", bounded(program.service_type)}};
}

Json program_json(const StreamInfoProgram& program) {
    Json streams = Json::array();
    for (const StreamInfoEs& stream : streams_of(program))
        streams.push_back(stream_json(stream));
    return {{"program_number", program.program_number},
            {"pmt_pid", program.pmt_pid},
            {"pcr_pid", program.pcr_pid},
            {"service", service_json(program)},
            {"streams", streams}};
}

Json table_json(const TsReport& report, uint16_t pid, int64_t period) {
    const TableFaults faults = pid_faults(report, pid);
    return {{"errors", faults.errors}, {"lost", faults.lost}, {"period_us", period}};
}

Json statistics_json(const TsReport& report) {
    const StreamInfo& info = *report.resolver.info;
    Json programs = Json::array();
    for (const StreamInfoProgram& program : report.resolver.programs())
        programs.push_back({{"program_number", program.program_number},
                            {"pmt", table_json(report, program.pmt_pid, program.pmt_period)},
                            {"pcr_period_us", program.pcr_period}});
    return {{"pat", table_json(report, zv::kPidPat, info.pat_period)},
            {"sdt", table_json(report, zv::kPidSdt, info.sdt_period)},
            {"programs", programs}};
}

Json resolver_json(const TsReport& report) {
    const ResolverAccount& account = report.resolver;
    const ContinuityTotals continuity = continuity_totals(account);
    Json programs = Json::array();
    for (const StreamInfoProgram& program : account.programs())
        programs.push_back(program_json(program));
    Json out = {{"tables", tables_json(report)},
                {"continuity", {{"errors", continuity.errors}, {"lost", continuity.lost}}},
                {"programs", programs},
                {"stream_info", text_or_null(stream_info_line(*account.info, report.statistics))}};
    if (report.statistics) out["statistics"] = statistics_json(report);
    return out;
}

}  // namespace

Json to_json(const TsReport& report) {
    Json out = report.survey;
    out["resolver"] = resolver_json(report);
    return out;
}

}  // namespace zvprobe
