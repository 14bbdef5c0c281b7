// SPDX-License-Identifier: MIT
// Implementation of command_line.h.
#include "cli/command_line.h"

#include <iostream>
#include <span>
#include <string_view>

#include "base/numbers.h"
#include "base/printable.h"
#include "bitStream.h"
#include "cli/declare.h"
#include "cli/help.h"

namespace zvprobe {
namespace {

std::string version_text() {
    return std::string("zvprobe ") + zvbitStream_api_version();
}

void add_common_options(CLI::App& root, Session& session) {
    root.set_version_flag("--version", version_text, "Print the version");
    root.add_flag("-v,--verbose", session.verbosity,
                  "Tell events as they are found; -vv: and the library's log");
    root.add_flag("-q,--quiet", session.quiet, "No progress bar");
    root.add_option("--log", session.log_file, "Append the library's log to a file")
        ->type_name("FILE");
    root.fallthrough();
}

// In the order of the help.
void add_commands(CLI::App& root, CommandLine& line) {
    add_probe(root, line);
    add_monitor(root, line);
    add_extract(root, line);
    add_rtp(root, line);
    add_pace(root, line);
    add_remap(root, line);
    add_build(root, line);
    add_flv_meta(root, line);
    add_mp3_fix(root, line);
}

// Help and version go to standard output. What is wrong may name arguments, and they hold anything.
ExitStatus say(const CLI::App& root, const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
        root.exit(error);
        return kExitOk;
    }
    std::cerr << printable(error.what()) << "\nRun with --help for more information.\n";
    return kExitUsage;
}

// Of a flag the command line library takes an empty value for none: a script whose variable is
// empty would ask for something else than it says.
void check_flags_with_values(std::span<const char* const> arguments) {
    for (const std::string_view argument : arguments)
        if (argument == "--loop=" || argument == "--pace=")
            throw UsageError(std::string(argument) + " lacks its value");
}

}  // namespace

CLI::Option* add_values(CLI::App& app, const char* name, std::vector<std::string>& values,
                        const char* type, const char* description) {
    return app.add_option(name, values, description)
        ->type_name(type)
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

CommandLine read_command_line(int argc, const char* const* argv) {
    CLI::App root("Describes MPEG transport streams, FLV files and MPEG audio.", "zvprobe");
    CommandLine line;
    use_short_help(root);
    add_common_options(root, line.session);
    add_commands(root, line);
    try {
        check_flags_with_values({argv, static_cast<size_t>(argc)});
        root.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        line.status = say(root, error);
        line.command = nullptr;
    } catch (const UsageError& error) {
        std::cerr << "zvprobe: " << error.what() << '\n';  // made to be printed
        line.status = kExitUsage;
        line.command = nullptr;
    }
    return line;
}

}  // namespace zvprobe
