// SPDX-License-Identifier: MIT
// `remap`: a copy of a file whose programme has another number and other PIDs. The file is read
// twice: what is in it decides what can be done.
#include <unistd.h>

#include <iostream>

#include "commands.h"
#include "copy_command.h"
#include "exit_status.h"
#include "interrupt.h"
#include "numbers.h"
#include "progress.h"
#include "remap_writer.h"
#include "terminal.h"
#include "ts_probe.h"

namespace zvprobe {
namespace {

constexpr uint32_t kMostNumber = 0xFFFF;

class UnknownFormat : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

RemapWish wish_of(const RemapOptions& options) {
    RemapWish wish = {std::nullopt,
                      number_from(options.program, 1, kMostNumber, "programme"),
                      pid_from(options.pmt, "PMT"),
                      pid_from(options.pcr, "PCR"),
                      {}};
    if (!options.from.empty()) wish.from = number_from(options.from, 1, kMostNumber, "programme");
    for (const std::string_view pid : split(options.es, ','))
        wish.es_pids.push_back(pid_from(pid, "stream"));
    return wish;
}

class Remap {
  public:
    Remap(const RemapOptions& options, const Session& session)
        : options_(options),
          wish_(wish_of(options)),
          draw_(!session.quiet && is_terminal(STDERR_FILENO)),
          talk_(!session.quiet && !is_standard_output(options.out)),
          tell_(session.verbosity > 0) {}

    void run() {
        const TsReport report = look();
        const RemapPlan plan = make_remap_plan(report, inventory_, wish_);
        for (const std::string& warning : plan.warnings)
            complain(options_.in, warning);
        write(plan, report.reading.packets);
    }

  private:
    TsReport look() {
        const auto source = open_source(options_.in);
        if (!source->size()) throw SourceError("not a file, which is read twice");
        const auto window = source->next(0);
        const auto first = find_first_packet(window, source->at_end());
        if (!first) throw UnknownFormat("not a transport stream");
        Progress progress(2 * *source->size(), draw_);
        TsProbeOptions probe;
        probe.on_progress = [&progress](uint64_t bytes) { progress.show(bytes); };
        probe.on_packets = [this](std::span<const uint8_t> packets, size_t packet_size) {
            for (size_t at = 0; at + kPacketSize <= packets.size(); at += packet_size)
                inventory_.see(packets.subspan(at).first<kPacketSize>());
        };
        Findings findings(options_.in, tell_);
        TsReport report = probe_transport_stream(findings, *source, window, *first, probe);
        check_reading(*source);
        warn_of_damage(report.reading);
        return report;
    }

    void warn_of_damage(const TsReading& reading) const {
        const uint64_t left_out = reading.skipped_bytes + reading.trailing_bytes;
        if (left_out != 0)
            complain(options_.in, std::to_string(left_out) + " bytes of no packet are left out");
    }

    void write(const RemapPlan& plan, uint64_t expected_packets) const {
        const auto source = open_source(options_.in);
        const auto window = source->next(0);
        const auto first = find_first_packet(window, source->at_end());
        if (!first) throw RemapError("changed while it was read");
        Progress progress(2 * source->size().value_or(0), draw_);
        TsPackets packets(*source, window, *first);
        OutFile out(options_.out);
        RemapWriter writer(plan, out);
        uint64_t count = 0;
        for (TsPacket packet; packets.next(packet) && !interrupted(); ++count) {
            writer.take(packet);
            progress.show(source->size().value_or(0) + packets.bytes());
        }
        check_reading(*source);
        if (count != expected_packets) throw RemapError("changed while it was read");
        out.commit();
        if (!talk_) return;
        std::cout << printable(options_.out) << ": programme " << plan.old_program_number
                  << " is now " << wish_.program_number << ", " << writer.packets() << " packets\n";
    }

    const RemapOptions& options_;
    const RemapWish wish_;
    const bool draw_;
    const bool talk_;
    const bool tell_;
    PidInventory inventory_;
};

int remap(const RemapOptions& options, const Session& session) {
    try {
        Remap(options, session).run();
        return kExitOk;
    } catch (const UsageError& error) {
        complain(options.in, error.what());
        return kExitUsage;
    } catch (const UnknownFormat& error) {
        complain(options.in, error.what());
        return kExitUnknownFormat;
    } catch (const RemapError& error) {
        complain(options.in, error.what());
    }
    return kExitCannotOpen;
}

}  // namespace

int run_command(const RemapOptions& options, const Session& session) {
    return run_copy(options, [&] { return remap(options, session); });
}

}  // namespace zvprobe
