// SPDX-License-Identifier: MIT
// zvprobe: what is in this stream? The command line, and the exit status.
#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

#include "bitStream.h"
#include "exit_status.h"
#include "help.h"
#include "interrupt.h"
#include "session.h"
#include "zvlog.h"

namespace {

using zvprobe::Session;

std::string version_text() {
    return std::string("zvprobe ") + zvbitStream_api_version();
}

void add_common_options(CLI::App& app, Session& session) {
    app.set_version_flag("--version", version_text, "Print the version");
    app.add_flag("-v,--verbose", session.verbosity,
                 "Tell errors as they are found; -vv: and the library's log");
    app.add_flag("-q,--quiet", session.quiet, "No progress bar");
    app.add_option("--log", session.log_file, "Append the library's log to a file")
        ->type_name("FILE");
}

int run(const Session& session) {
    zvprobe::start_log(session);
    zvprobe::catch_interrupts();
    const int status = session.run();
    zvlog_api_deinit();
    if (std::cout.flush()) return status;
    zvprobe::complain("standard output", "cannot be written");
    return zvprobe::kExitCannotOpen;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Describes MPEG transport streams, FLV files and MPEG audio.", "zvprobe");
    Session session;
    zvprobe::use_short_help(app);
    add_common_options(app, session);
    app.fallthrough();
    zvprobe::add_probe_command(app, session);
    zvprobe::add_monitor_command(app, session);
    zvprobe::add_extract_command(app, session);
    zvprobe::add_rtp_command(app, session);
    zvprobe::add_pace_command(app, session);
    zvprobe::add_remap_command(app, session);
    zvprobe::add_build_command(app, session);
    zvprobe::add_flv_meta_command(app, session);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? zvprobe::kExitOk : zvprobe::kExitUsage;
    }
    try {
        return run(session);
    } catch (const std::exception& error) {
        std::cerr << "zvprobe: " << error.what() << '\n';
        return zvprobe::kExitCannotOpen;
    }
}
