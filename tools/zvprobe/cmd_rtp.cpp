// SPDX-License-Identifier: MIT
// `rtp`: the transport stream out of RTP datagrams, in order. The work is the library's.
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>

#include "help.h"
#include "library_tool.h"
#include "ts_tools.h"

namespace zvprobe {
namespace {

struct RtpOptions {
    std::string source;
    std::string out;
};

int run_rtp(const RtpOptions& options, const Session& session) {
    const bool to_stdout = options.out == "-";
    const std::string path = to_stdout ? "/dev/stdout" : options.out;
    const auto demux = [&path](int log_level, const char* url) {
        return mpegts_api_rtpDemux(log_level, url, path.empty() ? nullptr : path.c_str());
    };
    return run_library_tool({options.source, options.out, demux}, session,
                            to_stdout ? std::cerr : std::cout,
                            text_options_for(to_stdout ? STDERR_FILENO : STDOUT_FILENO, false));
}

}  // namespace

void add_rtp_command(CLI::App& root, Session& session) {
    const auto options = std::make_shared<RtpOptions>();
    CLI::App& command =
        *root.add_subcommand("rtp", "Take a transport stream out of RTP, and count losses");
    command.add_option("SOURCE", options->source, "URL such as rtp://@239.1.1.1:5004")->required();
    command.add_option("OUT", options->out, "File for the transport stream; - for standard output");
    add_exit_help(command, {kExitOk, kExitUsage, kExitCannotOpen, kExitUnknownFormat});
    command.callback([options, &session] {
        session.run = [options, &session] { return run_rtp(*options, session); };
    });
}

}  // namespace zvprobe
