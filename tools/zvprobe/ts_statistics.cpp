// SPDX-License-Identifier: MIT
// Implementation of ts_statistics.h.
#include "ts_statistics.h"

#include <sstream>

#include "report_lines.h"
#include "ts_text.h"

namespace zvprobe {
namespace {

void write_table(std::ostream& out, const std::string& name, int64_t period, const CCState& state) {
    out << '[' << name << "]period,numErr,numLost:" << period << ',' << state.errnum << ','
        << state.lostnum << '\n';
}

void write_program(std::ostream& out, const StreamInfoProgram& program, const CCState& pmt) {
    write_table(out, "PMT-" + hex(program.pmt_pid), program.pmt_period, pmt);
    out << "[pcr-" << hex(program.pcr_pid) << "]period:" << program.pcr_period << '\n';
    for (const StreamInfoEs& stream : streams_of(program)) {
        out << '[' << bounded(stream.type_name) << '-' << hex(stream.pid)
            << "]numErr,numLost:" << stream.cc_state.errnum << ',' << stream.cc_state.lostnum
            << '\n';
    }
}

void write_statistics(std::ostream& out, const TsReport& report) {
    out << std::string(55, '-') << '\n';
    out << "* pktSize:" << report.reading.packet_size << '\n';
    write_table(out, "PAT", report.info->pat_period, report.tables->pat);
    write_table(out, "SDT", report.info->sdt_period, report.tables->sdt);
    for (size_t i = 0; i < report.programs().size(); ++i)
        write_program(out, report.programs()[i], report.tables->pmt[i]);
}

}  // namespace

void print_statistics(std::ostream& out, const TsReport& report, const TextOptions& options) {
    if (!report.tables) return;
    if (!options.laid_out) out << '\n';
    std::stringstream lines;
    write_statistics(lines, report);
    for (std::string line; std::getline(lines, line);)
        print_report_line(out, line, options);
}

}  // namespace zvprobe
