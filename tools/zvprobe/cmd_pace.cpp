// SPDX-License-Identifier: MIT
// `pace`: plays a transport stream in real time, by its own clock.
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <chrono>
#include <iostream>
#include <memory>

#include "exit_status.h"
#include "help.h"
#include "interrupt.h"
#include "packet_sink.h"
#include "session.h"
#include "source.h"
#include "text_parts.h"
#include "ts_probe.h"

namespace zvprobe {
namespace {

using Clock = std::chrono::steady_clock;

struct PaceOptions {
    std::string source;
    std::string to;
    std::string by = "pcr";
};

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
    const auto first = find_first_packet(first_window, source->at_end());
    if (first) {
        const std::string to = sink_of(options);
        PacketSink sink(to);
        TsProbeOptions probe;
        probe.pace = options.by == "pts" ? Pace::kPts : Pace::kPcr;
        probe.on_packets = [&sink](std::span<const uint8_t> packets, size_t packet_size) {
            sink.take(packets, packet_size);
        };
        const auto begin = Clock::now();
        Findings findings(options.source, session.verbosity > 0);
        probe_transport_stream(findings, *source, first_window, *first, probe);
        sink.flush();
        if (!session.quiet)
            print_summary(to == "-" ? std::cerr : std::cout, sink.packets(), Clock::now() - begin);
    }
    if (!source->error().empty()) {
        complain(options.source, source->error());
        return kExitCannotOpen;
    }
    if (first || interrupted()) return kExitOk;
    complain(options.source, "not a transport stream");
    return kExitUnknownFormat;
}

int run_pace(const PaceOptions& options, const Session& session) {
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

// -> what is wrong with it
std::string check_destination(const std::string& url) {
    const int index = zvptc_api_getPtcindex(url.c_str(), 0, 0);
    const bool known = index == ZVPTC_INDEX_UDP || index == ZVPTC_INDEX_TCP;
    return known ? "" : "\"" + url + "\" is neither udp://host:port nor tcp://host:port";
}

}  // namespace

void add_pace_command(CLI::App& root, Session& session) {
    const auto options = std::make_shared<PaceOptions>();
    CLI::App& command = *root.add_subcommand("pace", "Send a transport stream in real time");
    command.add_option("SOURCE", options->source, "File, URL, or - for standard input")->required();
    command
        .add_option("--to", options->to,
                    "udp://host:port for datagrams of seven packets, or\n"
                    "tcp://host:port; without it standard output, if no terminal")
        ->type_name("URL")
        ->check(check_destination);
    command.add_option("--by", options->by, "The clock to follow: pcr (default) or pts")
        ->option_text(" CLOCK")
        ->check(CLI::IsMember({"pcr", "pts"}));
    add_exit_help(command, {kExitOk, kExitUsage, kExitCannotOpen, kExitUnknownFormat});
    command.callback([options, &session] {
        session.run = [options, &session] { return run_pace(*options, session); };
    });
}

}  // namespace zvprobe
