// SPDX-License-Identifier: MIT
// zvprobe: what is in this stream? Runs the command that the command line names.
#include <cstring>
#include <exception>
#include <iostream>

#include "base/descriptors.h"
#include "base/interrupt.h"
#include "cli/command_line.h"
#include "cli/signals.h"
#include "cli/standard_output.h"
#include "render/progress.h"
#include "zvlog.h"

namespace zvprobe {
namespace {

CommandLine read_guarded(int argc, const char* const* argv) {
    try {
        return read_command_line(argc, argv);
    } catch (const std::bad_alloc&) {
        complain("the command line", "out of memory");
    }
    CommandLine nothing;
    nothing.status = kExitCannotOpen;
    return nothing;
}

int run(const CommandLine& line) {
    start_log(line.session);
    const int status = line.command(line.session);
    stop_log();
    return status;
}

int run_guarded(const CommandLine& line) {
    try {
        return run(line);
    } catch (const std::bad_alloc&) {
        complain(line.subject, "out of memory");
    } catch (const std::exception& error) {
        complain(line.subject, error.what());
    }
    return kExitCannotOpen;
}

// -> the status of the process, whose report may not have got through
int tell(StandardOutput& output, int status) {
    if (std::cout.flush() && output.error() == 0) return status;
    complain("standard output", std::string("cannot be written: ") + std::strerror(output.error()));
    return kExitCannotOpen;
}

}  // namespace
}  // namespace zvprobe

int main(int argc, char** argv) {
    using namespace zvprobe;
    occupy_standard_descriptors();
    StandardOutput output;
    catch_signals();
    const CommandLine line = read_guarded(argc, argv);
    if (line.writes) let_lost_readers_be_told();
    const int status = tell(output, line.command ? run_guarded(line) : line.status);
    // Who started a command that writes, or one for many sources, sees that it was cut short by what
    // ended it.
    const bool cut_short = interrupted() && (line.many || (line.writes && status != kExitOk));
    if (cut_short) end_by_signal(interrupting_signal());
    return status;
}
