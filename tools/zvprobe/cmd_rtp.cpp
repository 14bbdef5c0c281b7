// SPDX-License-Identifier: MIT
// `rtp`: the transport stream out of RTP datagrams, in order. The work is the library's.
#include <unistd.h>

#include <iostream>

#include "commands.h"
#include "library_tool.h"
#include "ts_tools.h"

namespace zvprobe {

int run_command(const RtpOptions& options, const Session& session) {
    const bool to_stdout = options.out == "-";
    const std::string path = to_stdout ? "/dev/stdout" : options.out;
    const auto demux = [&path](int log_level, const char* url) {
        return mpegts_api_rtpDemux(log_level, url, path.empty() ? nullptr : path.c_str());
    };
    return run_library_tool({options.source, options.out, demux}, session,
                            to_stdout ? std::cerr : std::cout,
                            text_options_for(to_stdout ? STDERR_FILENO : STDOUT_FILENO, false));
}

}  // namespace zvprobe
