// SPDX-License-Identifier: MIT
// Implementation of copy_command.h.
#include "copy_command.h"

#include <CLI/CLI.hpp>

#include "exit_status.h"
#include "out_file.h"
#include "session.h"
#include "source.h"

namespace zvprobe {

void add_copy_files(CLI::App& command, CopyFiles& files, const std::string& what_in) {
    command.add_option("IN", files.in, what_in)->required();
    command.add_option("OUT", files.out, "The copy, which may replace IN; - for standard output")
        ->required();
}

int run_copy(const CopyFiles& files, const std::function<int()>& work) {
    try {
        return work();
    } catch (const SourceError& error) {
        complain(files.in, error.what());
    } catch (const OutputError& error) {
        complain(files.out, std::string("cannot be written: ") + error.what());
    }
    return kExitCannotOpen;
}

}  // namespace zvprobe
