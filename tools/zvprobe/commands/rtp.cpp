// SPDX-License-Identifier: MIT
// `rtp`: the transport stream out of RTP datagrams, in order. The work is the library's; here is
// the output, which gets its name when the source was read to its end and has packets.
#include <unistd.h>

#include <iostream>
#include <optional>

#include "base/exit_status.h"
#include "commands/commands.h"
#include "commands/copy_command.h"
#include "commands/library_tool.h"
#include "io/out_file.h"
#include "io/out_pipe.h"
#include "ts_tools.h"

namespace zvprobe {
namespace {

int demux(const RtpOptions& options, const Session& session) {
    const bool to_stdout = is_standard_output(options.out);
    std::optional<OutFile> file;  // made when the source is known to open
    const auto run = [&](int log_level, const char* url) {
        if (options.out.empty()) return mpegts_api_rtpDemux(log_level, url, nullptr);
        OutPipe pipe(file.emplace(options.out));
        const int result = mpegts_api_rtpDemux(log_level, url, pipe.path().c_str());
        pipe.finish();
        return result;
    };
    const int status = run_library_tool(
        {options.source, options.out, run}, session, to_stdout ? std::cerr : std::cout,
        text_options_for(to_stdout ? STDERR_FILENO : STDOUT_FILENO, false));
    if (status == kExitOk && file) file->commit();
    return status;
}

}  // namespace

int run_command(const RtpOptions& options, const Session& session) {
    return run_copy({options.source, options.out}, [&] { return demux(options, session); });
}

}  // namespace zvprobe
