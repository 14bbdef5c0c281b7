// SPDX-License-Identifier: MIT
// Reads one source for `probe`. What is wrong with it is a part of its report and ends nothing else.
#pragma once

#include <string>

#include "commands/commands.h"
#include "render/source_report.h"

namespace zvprobe {

// Any thread.
SourceReport probe_source(const std::string& name, const ProbeOptions& options,
                          const Session& session);

// -> the report of a source of which nothing is known but why
SourceReport failed_report(const std::string& name, const std::string& why);

// What the source alone would end the process with.
ExitStatus status_of(const SourceReport& report, const ProbeOptions& options);

}  // namespace zvprobe
