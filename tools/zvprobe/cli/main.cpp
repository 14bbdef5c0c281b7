// SPDX-License-Identifier: MIT
// zvprobe: what is in this stream? Runs the command that the command line names.
#include <exception>
#include <iostream>

#include "base/interrupt.h"
#include "cli/command_line.h"
#include "render/complaint.h"
#include "zvlog.h"

namespace {

int run(const zvprobe::CommandLine& line) {
    zvprobe::start_log(line.session);
    zvprobe::catch_interrupts();
    const int status = line.command(line.session);
    zvlog_api_deinit();
    if (std::cout.flush()) return status;
    zvprobe::complain("standard output", "cannot be written");
    return zvprobe::kExitCannotOpen;
}

}  // namespace

int main(int argc, char** argv) {
    const zvprobe::CommandLine line = zvprobe::read_command_line(argc, argv);
    if (!line.command) return line.status;
    try {
        return run(line);
    } catch (const std::exception& error) {
        std::cerr << "zvprobe: " << error.what() << '\n';
        return zvprobe::kExitCannotOpen;
    }
}
