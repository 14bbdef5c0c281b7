// SPDX-License-Identifier: MIT
// Implementation of ts_statistics.h.
#include "ts_statistics.h"

#include "terminal.h"
#include "ts_text.h"

namespace zvprobe {
namespace {

void print_table(std::ostream& out, const std::string& name, int64_t period, const CCState& state) {
    out << '[' << name << "]period,numErr,numLost:" << period << ',' << state.errnum << ','
        << state.lostnum << '\n';
}

void print_program(std::ostream& out, const StreamInfoProgram& program, const CCState& pmt) {
    print_table(out, "PMT-" + hex(program.pmt_pid), program.pmt_period, pmt);
    out << "[pcr-" << hex(program.pcr_pid) << "]period:" << program.pcr_period << '\n';
    for (const StreamInfoEs& stream : streams_of(program)) {
        out << '[' << printable(bounded(stream.type_name)) << '-' << hex(stream.pid)
            << "]numErr,numLost:" << stream.cc_state.errnum << ',' << stream.cc_state.lostnum
            << '\n';
    }
}

}  // namespace

void print_statistics(std::ostream& out, const TsReport& report) {
    if (!report.tables) return;
    out << '\n' << std::string(55, '-') << '\n';
    out << "* pktSize:" << report.reading.packet_size << '\n';
    print_table(out, "PAT", report.info->pat_period, report.tables->pat);
    print_table(out, "SDT", report.info->sdt_period, report.tables->sdt);
    for (size_t i = 0; i < report.programs().size(); ++i)
        print_program(out, report.programs()[i], report.tables->pmt[i]);
}

}  // namespace zvprobe
