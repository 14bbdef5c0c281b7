// SPDX-License-Identifier: MIT
// Runs one of the library's stream tools as a command: its report on a stream, its failures as
// diagnostics and exit statuses.
#pragma once

#include <functional>
#include <ostream>
#include <string>

#include "commands/session.h"
#include "render/text_report.h"

namespace zvprobe {

struct LibraryTool {
    std::string source;
    std::string output;                                      // empty: nothing is written
    std::function<int(int log_level, const char* url)> run;  // -> the tool's result
};

// Status 0 means that the source was read to its end; of datagrams a signal is the end. With any
// other status what the tool has written is not whole. Throws what `run` throws.
// out, options: where the report goes, and how. -> exit status
int run_library_tool(const LibraryTool& tool, const Session& session, std::ostream& out,
                     const TextOptions& options);

}  // namespace zvprobe
