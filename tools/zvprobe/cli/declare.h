// SPDX-License-Identifier: MIT
// What the declarations of commands have in common: a command, once named, becomes what is run.
#pragma once

#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "cli/command_line.h"
#include "commands/commands.h"

namespace zvprobe {

template <typename Options>
std::string subject_of(const Options& options) {
    if constexpr (requires { options.sources; })
        return options.sources.empty() ? options.files_from : options.sources.front();
    else if constexpr (requires { options.source; })
        return options.source;
    else if constexpr (requires { options.in; })
        return options.in;
    else
        return options.out;
}

template <typename Options>
constexpr bool kOnlyReports =
    std::is_same_v<Options, ProbeOptions> || std::is_same_v<Options, MonitorOptions> ||
    std::is_same_v<Options, WatchOptions>;

// A run over many sources is not done when a signal ends it, whatever it has printed.
template <typename Options>
bool is_long_run(const Options& options) {
    if constexpr (std::is_same_v<Options, ProbeOptions>)
        return options.json_lines || !options.files_from.empty();
    else
        return false;
}

template <typename Options>
void choose(CommandLine& line, const std::shared_ptr<Options>& options) {
    line.subject = subject_of(*options);
    line.writes = !kOnlyReports<Options>;
    line.many = is_long_run(*options);
    line.command = [options](const Session& session) { return run_command(*options, session); };
}

template <typename Options>
void when_named(CLI::App& command, CommandLine& line, const std::shared_ptr<Options>& options) {
    command.callback([options, &line] { choose(line, options); });
}

// An option that may come again: one value each, so that an argument may follow.
CLI::Option* add_values(CLI::App& app, const char* name, std::vector<std::string>& values,
                        const char* type, const char* description);

void add_probe(CLI::App& root, CommandLine& line);
void add_monitor(CLI::App& root, CommandLine& line);

void add_extract(CLI::App& root, CommandLine& line);
void add_rtp(CLI::App& root, CommandLine& line);
void add_pace(CLI::App& root, CommandLine& line);
void add_remap(CLI::App& root, CommandLine& line);
void add_build(CLI::App& root, CommandLine& line);
void add_flv_meta(CLI::App& root, CommandLine& line);
void add_mp3_fix(CLI::App& root, CommandLine& line);

}  // namespace zvprobe
