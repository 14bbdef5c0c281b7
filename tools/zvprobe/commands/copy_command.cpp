// SPDX-License-Identifier: MIT
// Implementation of copy_command.h.
#include "commands/copy_command.h"

#include "base/exit_status.h"
#include "base/interrupt.h"
#include "io/output/out_file.h"
#include "render/progress.h"

namespace zvprobe {

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

std::span<const uint8_t> first_window_of(Source& source) {
    const auto window = source.next(0);
    if (source.stopped()) check_reading(source);
    return window;
}

void check_reading(const Source& source) {
    if (!source.error().empty()) throw SourceError(source.error());
    if (interrupted()) throw SourceError("interrupted, nothing is written");
}

}  // namespace zvprobe
