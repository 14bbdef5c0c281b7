// SPDX-License-Identifier: MIT
// The text of the resolver's account of a transport stream. Its line and its statistics stand as the
// library writes them, so that one script reads both.
#include <sstream>

#include "mpeg/ts_packet/packet_fields.h"
#include "render/ts/library_line.h"
#include "render/ts/ts_text_parts.h"

namespace zvprobe {
namespace {

class ResolverText {
  public:
    ResolverText(std::ostream& out, const TsReport& report, const TextOptions& options)
        : out_(out), account_(report.resolver), options_(options) {}

    void print() const {
        out_ << '\n';
        print_tables();
        for (const StreamInfoProgram& program : account_.programs())
            print_program(program);
        print_info_line();
    }

  private:
    std::ostream& line(std::string_view label) const {
        return begin_line(out_, options_.style, label);
    }

    void print_tables() const {
        line("resolver");
        if (account_.tables_complete) {
            out_ << "tables complete\n";
        } else {
            const std::string_view progress = bounded(account_.info->progress);
            out_ << "tables incomplete: " << (progress.empty() ? "no programme found" : progress)
                 << '\n';
        }
    }

    void print_program(const StreamInfoProgram& program) const {
        line("") << "programme " << program.program_number << ", PMT " << pid_text(program.pmt_pid)
                 << ", PCR " << pid_text(program.pcr_pid) << '\n';
        TextTable streams({{"PID"}, {"type"}, {"name"}, {"kind"}, {"continuity"}}, kLabelEnd + 2);
        for (const StreamInfoEs& stream : streams_of(program)) {
            streams.add({pid_text(stream.pid), hex_byte(stream.stream_type),
                         printable(bounded(stream.type_name)), kind_name(stream.kind),
                         continuity(stream)});
        }
        streams.print(out_, options_.style);
    }

    static Cell continuity(const StreamInfoEs& stream) {
        const CCState& state = stream.cc_state;
        if (state.started == 0) return {"no packet checked"};
        std::string text = "ok";
        if (state.errnum != 0)
            text = counted(state.errnum, "error", "errors") + ", " +
                   counted(state.lostnum, "packet", "packets") + " lost";
        if (stream.numPcr_noInPmt != 0)
            text += ", " + counted(static_cast<uint32_t>(stream.numPcr_noInPmt), "PCR", "PCRs") +
                    " that no PMT names";
        return {text, state.errnum != 0};
    }

    void print_info_line() const {
        const std::string text = stream_info_line(*account_.info, options_.statistics);
        if (!text.empty()) line("stream info") << printable(text) << '\n';
    }

    std::ostream& out_;
    const ResolverAccount& account_;
    const TextOptions& options_;
};

class Statistics {
  public:
    Statistics(std::ostream& out, const TsReport& report) : out_(out), report_(report) {}

    void write() const {
        const StreamInfo& info = *report_.resolver.info;
        out_ << std::string(55, '-') << '\n';
        out_ << "* pktSize:" << report_.survey["packet_size"] << '\n';
        write_table("PAT", zv::kPidPat, info.pat_period);
        write_table("SDT", zv::kPidSdt, info.sdt_period);
        for (const StreamInfoProgram& program : report_.resolver.programs())
            write_program(program);
    }

  private:
    void write_table(const std::string& name, uint16_t pid, int64_t period) const {
        const TableFaults faults = pid_faults(report_, pid);
        out_ << '[' << name << "]period,numErr,numLost:" << period << ',' << faults.errors << ','
             << faults.lost << '\n';
    }

    void write_program(const StreamInfoProgram& program) const {
        write_table("PMT-" + hex(program.pmt_pid), program.pmt_pid, program.pmt_period);
        out_ << "[pcr-" << hex(program.pcr_pid) << "]period:" << program.pcr_period << '\n';
        for (const StreamInfoEs& stream : streams_of(program)) {
            out_ << '[' << bounded(stream.type_name) << '-' << hex(stream.pid)
                 << "]numErr,numLost:" << stream.cc_state.errnum << ',' << stream.cc_state.lostnum
                 << '\n';
        }
    }

    std::ostream& out_;
    const TsReport& report_;
};

}  // namespace

void print_resolver(std::ostream& out, const TsReport& report, const TextOptions& options) {
    ResolverText(out, report, options).print();
    if (!options.statistics) return;
    if (!options.laid_out) out << '\n';
    std::stringstream lines;
    Statistics(lines, report).write();
    for (std::string line; std::getline(lines, line);)
        print_library_line(out, line, options);
}

}  // namespace zvprobe
