// SPDX-License-Identifier: MIT
// `pace`: plays a transport stream in real time, by its own clock.
#include <unistd.h>

#include <chrono>
#include <iostream>

#include "commands.h"
#include "exit_status.h"
#include "interrupt.h"
#include "packet_sink.h"
#include "source.h"
#include "text_parts.h"
#include "ts_probe.h"
#include "ts_sync.h"

namespace zvprobe {
namespace {

using Clock = std::chrono::steady_clock;

void print_summary(std::ostream& out, uint64_t packets, Clock::duration time) {
    const double seconds = std::chrono::duration<double>(time).count();
    const double bits = static_cast<double>(packets * kPacketSize) * 8;
    out << counted(packets, "packet", "packets") << " in " << fixed(seconds, 3) << " s, "
        << fixed(seconds > 0 ? bits / seconds / 1000 : 0, 1) << " kbit/s\n";
}

// -> where the packets go: a terminal is no place for them
std::string sink_of(const PaceOptions& options) {
    if (!options.to.empty()) return options.to;
    return isatty(STDOUT_FILENO) ? "" : "-";
}

int play(const PaceOptions& options, const Session& session) {
    const auto source = open_source(options.source);
    const auto first_window = source->next(0);
    const bool known = find_first_packet(first_window, source->at_end()).has_value();
    if (known) {
        const std::string to = sink_of(options);
        PacketSink sink(to);
        TsProbeOptions probe;
        probe.pace = options.by == "pts" ? Pace::kPts : Pace::kPcr;
        probe.on_packets = [&sink](std::span<const uint8_t> packets, size_t packet_size) {
            sink.take(packets, packet_size);
        };
        const auto begin = Clock::now();
        const Findings findings(options.source, session.verbosity > 0);
        probe_transport_stream(findings, *source, first_window, probe);
        sink.flush();
        if (!session.quiet)
            print_summary(to == "-" ? std::cerr : std::cout, sink.packets(), Clock::now() - begin);
    }
    if (!source->error().empty()) {
        complain(options.source, source->error());
        return kExitCannotOpen;
    }
    if (known || interrupted()) return kExitOk;
    complain(options.source, "not a transport stream");
    return kExitUnknownFormat;
}

}  // namespace

int run_command(const PaceOptions& options, const Session& session) {
    try {
        return play(options, session);
    } catch (const SourceError& error) {
        complain(options.source, error.what());
    } catch (const OutputError& error) {
        complain(options.to.empty() ? "standard output" : options.to,
                 std::string("cannot be written: ") + error.what());
    }
    return kExitCannotOpen;
}

}  // namespace zvprobe
