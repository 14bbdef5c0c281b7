// SPDX-License-Identifier: MIT
// Implementation of copy_command.h.
#include "commands/copy_command.h"

#include "base/interrupt.h"
#include "base/numbers.h"
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
    } catch (const CopyError& error) {
        complain(files.in, error.what());
        return error.status();
    } catch (const UsageError& error) {
        complain(files.in, error.what());
        return kExitUsage;
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

void check_account(uint64_t accounted, uint64_t size) {
    if (accounted == size) return;
    throw CopyError(kExitCannotOpen, std::to_string(accounted) + " of " + std::to_string(size) +
                                         " bytes are accounted for, nothing is written");
}

}  // namespace zvprobe
