// SPDX-License-Identifier: MIT
// The JSON about a transport stream.
#include "json_parts.h"
#include "json_report.h"
#include "resolver.h"
#include "text_parts.h"
#include "ts_text.h"

namespace zvprobe {
namespace {

Json sync_json(const TsReading& reading) {
    return {{"first_sync_offset", reading.first_sync_offset},
            {"skipped_bytes", reading.skipped_bytes},
            {"losses", reading.losses.count()},
            {"loss_list", list_json(reading.losses, loss_json)}};
}

Json crc_error_json(const CrcError& error) {
    return {{"offset", error.offset}, {"pid", error.pid}, {"table_id", error.table_id}};
}

Json continuity_json(const ContinuityTotals& totals) {
    return {{"errors", totals.errors}, {"lost", totals.lost}};
}

Json tables_json(const TsReport& report) {
    return {{"complete", report.tables_complete},
            {"progress", text_or_null(bounded(report.info->progress))},
            {"continuity", continuity_json(report.table_continuity)},
            {"crc_errors", report.crc_errors.count()},
            {"crc_error_list", list_json(report.crc_errors, crc_error_json)}};
}

Json counters_json(const CCState& state) {
    return {{"errors", state.errnum}, {"lost", state.lostnum}};
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

Json table_json(const CCState& state, int64_t period) {
    Json table = counters_json(state);
    table["period_us"] = period;
    return table;
}

Json statistics_json(const TsReport& report) {
    Json programs = Json::array();
    for (size_t i = 0; i < report.programs().size(); ++i) {
        const StreamInfoProgram& program = report.programs()[i];
        programs.push_back({{"program_number", program.program_number},
                            {"pmt", table_json(report.tables->pmt[i], program.pmt_period)},
                            {"pcr_period_us", program.pcr_period}});
    }
    return {{"pat", table_json(report.tables->pat, report.info->pat_period)},
            {"sdt", table_json(report.tables->sdt, report.info->sdt_period)},
            {"programs", programs}};
}

}  // namespace

Json to_json(const TsReport& report) {
    const TsReading& reading = report.reading;
    Json programs = Json::array();
    for (const StreamInfoProgram& program : report.programs())
        programs.push_back(program_json(program));

    Json out = {
        {"packet_size", reading.packet_size},
        {"bytes", reading.bytes},
        {"packets", reading.packets},
        {"trailing_bytes", reading.trailing_bytes},
        {"sync", sync_json(reading)},
        {"tables", tables_json(report)},
        {"continuity", continuity_json(continuity_totals(report))},
        {"programs", programs},
        {"stream_info", text_or_null(stream_info_line(*report.info, report.tables.has_value()))}};
    if (report.tables) out["statistics"] = statistics_json(report);
    return out;
}

}  // namespace zvprobe
