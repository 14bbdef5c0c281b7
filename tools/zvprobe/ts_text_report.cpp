// SPDX-License-Identifier: MIT
// The text about a transport stream.
#include "resolver.h"
#include "text_parts.h"
#include "text_report.h"
#include "ts_statistics.h"
#include "ts_text.h"

namespace zvprobe {
namespace {

class TsPrinter {
  public:
    TsPrinter(std::ostream& out, const TsReport& report, const TextOptions& options)
        : out_(out), report_(report), style_(options.style), options_(options) {}

    void print() const {
        print_reading();
        print_sync();
        print_tables();
        for (const StreamInfoProgram& program : report_.programs())
            print_program(program);
        print_info_line();
        if (options_.statistics) print_statistics(out_, report_, options_);
    }

  private:
    std::ostream& line(std::string_view label) const { return begin_line(out_, style_, label); }

    void print_reading() const {
        const TsReading& reading = report_.reading;
        line("format") << "MPEG transport stream, " << reading.packet_size << "-byte packets\n";
        line("packets") << reading.packets << " in " << counted(reading.bytes, "byte", "bytes");
        if (reading.trailing_bytes != 0) {
            out_ << ", then "
                 << style_.bad(counted(reading.trailing_bytes, "trailing byte", "trailing bytes"));
        }
        out_ << '\n';
    }

    void print_sync() const {
        const TsReading& reading = report_.reading;
        line("skipped") << marked(style_, reading.skipped_bytes == 0,
                                  counted(reading.skipped_bytes, "byte", "bytes"))
                        << " out of sync\n";
        if (reading.first_sync_offset != 0)
            line("first packet") << "at byte " << reading.first_sync_offset << '\n';
        if (reading.losses.count() == 0) return;
        line("sync lost") << style_.bad(counted(reading.losses.count(), "time", "times")) << '\n';
        print_first(out_, style_, reading.losses, gap_text);
    }

    void print_tables() const {
        if (report_.tables_complete) {
            line("tables") << style_.good("complete");
        } else {
            const std::string_view progress = bounded(report_.info->progress);
            line("tables") << style_.bad("incomplete") << ": "
                           << (progress.empty() ? "no programme found" : progress);
        }
        const uint64_t wrong = report_.crc_errors.count();
        out_ << ", " << marked(style_, wrong == 0, counted(wrong, "wrong CRC", "wrong CRCs"));
        if (const uint64_t gaps = report_.table_continuity.errors; gaps != 0)
            out_ << ", " << style_.bad(counted(gaps, "continuity error", "continuity errors"));
        out_ << '\n';
        print_first(out_, style_, report_.crc_errors, [](const CrcError& error) {
            return "at byte " + std::to_string(error.offset) + ", PID " + hex(error.pid) +
                   ", table " + hex_byte(error.table_id);
        });
        if (report_.tables_complete) print_continuity();
    }

    void print_continuity() const {
        const ContinuityTotals totals = continuity_totals(report_);
        line("continuity") << marked(style_, totals.errors == 0,
                                     counted(totals.errors, "error", "errors"))
                           << ", " << counted(totals.lost, "packet", "packets") << " lost\n";
    }

    void print_program(const StreamInfoProgram& program) const {
        out_ << '\n';
        line("programme") << style_.heading(std::to_string(program.program_number)) << ", PMT "
                          << hex(program.pmt_pid) << ", PCR " << hex(program.pcr_pid) << '\n';
        print_service(program);
        Columns streams;
        streams.add({"PID", "type", "name", "kind", "continuity"});
        for (const StreamInfoEs& stream : streams_of(program)) {
            streams.add({hex(stream.pid), hex_byte(stream.stream_type),
                         printable(bounded(stream.type_name)), kind_name(stream.kind),
                         continuity(stream)});
        }
        streams.print(out_, style_, "streams");
    }

    void print_service(const StreamInfoProgram& program) const {
        if (program.has_service == 0) {
            line("service") << "not described\n";
            return;
        }
        line("service") << style_.heading(quoted(bounded(program.service_name))) << ", provider "
                        << quoted(bounded(program.service_provider)) << ", "
                        << bounded(program.service_type) << '\n';
    }

    std::string continuity(const StreamInfoEs& stream) const {
        std::string text = continuity(stream.cc_state);
        if (stream.numPcr_noInPmt == 0) return text;
        const auto packets = static_cast<uint32_t>(stream.numPcr_noInPmt);
        return text + ", " + counted(packets, "packet", "packets") +
               " with a PCR the PMT does not name";
    }

    std::string continuity(const CCState& state) const {
        if (state.started == 0) return "no packet checked";
        if (state.errnum == 0) return style_.good("ok");
        return style_.bad(counted(state.errnum, "error", "errors") + ", " +
                          counted(state.lostnum, "packet", "packets") + " lost");
    }

    void print_info_line() const {
        const std::string text = stream_info_line(*report_.info, options_.statistics);
        if (text.empty()) return;
        out_ << '\n';
        line("stream info") << printable(text) << '\n';
    }

    std::ostream& out_;
    const TsReport& report_;
    const Style& style_;
    const TextOptions& options_;
};

}  // namespace

void print_text(std::ostream& out, const TsReport& report, const TextOptions& options) {
    TsPrinter(out, report, options).print();
}

}  // namespace zvprobe
