// SPDX-License-Identifier: MIT
// The report for people: one block of aligned text for each source.
#pragma once

#include <ostream>

#include "render/source_report.h"
#include "render/terminal.h"

namespace zvprobe {

struct TextOptions {
    Style style{false};
    bool resolver = false;  // the resolver's account
    bool statistics = false;
    bool laid_out = false;  // the library's own lines, too; scripts read them as they are
};

// What suits the descriptor: tables and colours are for terminals.
TextOptions text_options_for(int fd, bool statistics, bool resolver = false);

void print_text(std::ostream& out, const SourceReport& report, const TextOptions& options);

// The part about a transport stream.
void print_text(std::ostream& out, const TsReport& report, const TextOptions& options);

// The parts about an FLV and an MPEG audio source.
void print_text(std::ostream& out, const FlvReport& report, const TextOptions& options);
void print_text(std::ostream& out, const MpegAudioReport& report, const TextOptions& options);

}  // namespace zvprobe
