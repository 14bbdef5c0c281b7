// SPDX-License-Identifier: MIT
// Implementation of command_line.h.
#include "cli/command_line.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>
#include <span>
#include <string_view>

#include "base/numbers.h"
#include "base/printable.h"
#include "bitStream.h"
#include "cli/help.h"
#include "commands/commands.h"
#include "commands/parts/limits_file.h"
#include "io/output/out_file.h"
#include "zvprotocol.h"

namespace zvprobe {
namespace {

constexpr char kInHelp[] = "Options";  // the group of all that say nothing else

constexpr unsigned kMostJobs = 256;
constexpr double kShortestInterval_s = 0.1;
constexpr double kLongestInterval_s = 86400;

template <typename Options>
std::string subject_of(const Options& options) {
    if constexpr (requires { options.sources; })
        return options.sources.front();
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

template <typename Options>
void choose(CommandLine& line, const std::shared_ptr<Options>& options) {
    line.subject = subject_of(*options);
    line.writes = !kOnlyReports<Options>;
    line.command = [options](const Session& session) { return run_command(*options, session); };
}

template <typename Options>
void when_named(CLI::App& command, CommandLine& line, const std::shared_ptr<Options>& options) {
    command.callback([options, &line] { choose(line, options); });
}

// -> what is wrong with it; the command line library says "true" when no value is given
std::string check_pace(const std::string& text) {
    const bool known = text == "true" || text == "pcr" || text == "pts";
    return known ? "" : "\"" + text + "\" is neither pcr nor pts";
}

// -> what is wrong with it
std::string check_destination(const std::string& url) {
    const int index = zvptc_api_getPtcindex(url.c_str(), 0, 0);
    const bool known =
        index == ZVPTC_INDEX_UDP || index == ZVPTC_INDEX_RTP || index == ZVPTC_INDEX_TCP;
    return known ? "" : "\"" + url + "\" is no udp://, rtp:// or tcp://host:port";
}

// -> what is wrong with it; the command line library says "true" when no value is given
std::string check_loop(const std::string& text) {
    const auto times = parse_number(text, UINT32_MAX);
    const bool known = text == "true" || (times && *times > 0);
    return known ? "" : "\"" + text + "\" is no number from 1 to 4294967295";
}

// -> what is wrong with it; "nan" is a number, and in no range
std::string check_interval(const std::string& text) {
    double seconds = 0;
    const bool fits = CLI::detail::lexical_cast(text, seconds) && seconds >= kShortestInterval_s &&
                      seconds <= kLongestInterval_s;
    return fits ? "" : "\"" + text + "\" is no number from 0.1 to 86400";
}

// -> what is wrong with it
std::string check_given(const std::string& text) {
    return text.empty() ? "is empty" : "";
}

// An option that may come again: one value each, so that an argument may follow.
CLI::Option* add_values(CLI::App& app, const char* name, std::vector<std::string>& values,
                        const char* type, const char* description) {
    return app.add_option(name, values, description)
        ->type_name(type)
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

// How indicators are to be counted, as it stands on the command line.
struct IndicatorSettings {
    std::string limits_file;
    std::vector<std::string> limits;
    std::string indicators;
};

void add_limits(CLI::App& app, IndicatorSettings& settings, const char* group) {
    app.add_option("--limits", settings.limits_file, "Limits of indicators: lines of \"pat = 0.5\"")
        ->type_name("FILE")
        ->check(check_given)
        ->group(group);
    add_values(app, "--limit", settings.limits, "NAME=N",
               "One of them, \"pat=0.5\"; repeat for more")
        ->group(group);
}

struct ProbeSettings : IndicatorSettings {
    ProbeOptions options;
};

void add_probe_options(CLI::App& app, ProbeSettings& settings, const char* detail_group) {
    ProbeOptions& options = settings.options;
    app.add_option("SOURCE", options.sources, "Files, URLs, or - for standard input");
    app.add_flag("--json", options.json, "Print one JSON object (docs/JSON.md)");
    app.add_option("--html", options.html, "Write a page with plots; - for standard output")
        ->type_name("FILE")
        ->check(check_given);
    app.add_flag("--history", options.history,
                 "With --json: how a transport stream went over its time, too")
        ->group(detail_group);
    app.add_flag("--resolver", options.resolver, "Show what the library's resolver tells hosts")
        ->group(detail_group);
    app.add_flag("--stats", options.statistics, "The same with arrival periods")
        ->group(detail_group);
    app.add_flag("--strict", options.strict, "Exit with status 1 when a source has errors");
    app.add_flag("--pace", options.pace, "Feed in real time, by the PCR or by PTS")
        ->option_text("[=pts]")
        ->check(check_pace);
    app.add_option("--jobs", options.jobs, "Read so many sources at a time (all cores)")
        ->option_text(" N")
        ->check(CLI::Range(1u, kMostJobs))
        ->group(detail_group);
    app.add_option("--indicators", settings.indicators,
                   "With --strict: these count as errors, too (1,2.3)")
        ->type_name("LIST")
        ->check(check_given)
        ->group(detail_group);
    add_limits(app, settings, detail_group);
    add_exit_help(app, {kExitOk, kExitFindings, kExitUsage, kExitCannotOpen, kExitUnknownFormat});
}

ProbeOptions probe_options_of(const ProbeSettings& settings) {
    ProbeOptions options = settings.options;
    if (options.sources.empty()) throw CLI::RequiredError("SOURCE");
    if (options.json && is_standard_output(options.html))
        throw CLI::ExcludesError("--html -", "--json");
    if (options.history && !options.json) throw CLI::RequiresError("--history", "--json");
    options.limits = limits_from(settings.limits_file, settings.limits);
    if (settings.indicators.empty()) return options;
    if (!options.strict) throw CLI::RequiresError("--indicators", "--strict");
    options.indicators = IndicatorChoice(settings.indicators);
    return options;
}

void add_probe(CLI::App& root, CommandLine& line) {
    const auto settings = std::make_shared<ProbeSettings>();
    const auto choose_probe = [settings, &line] {
        choose(line, std::make_shared<ProbeOptions>(probe_options_of(*settings)));
    };
    CLI::App& probe = *root.add_subcommand("probe", "Describe sources (the default command)");
    add_probe_options(probe, *settings, kInHelp);
    probe.callback(choose_probe);
    // Without a command the options are the root's own; its help has room for some.
    add_probe_options(root, *settings, kNotInHelp);
    root.callback([&root, choose_probe] {
        if (root.get_subcommands().empty()) return choose_probe();
        // What a command has no place for falls through to here.
        const CLI::Option* const extra = root.get_option("SOURCE");
        if (extra->count() > 0) throw CLI::ExtrasError({extra->results().front()});
    });
}

// What `monitor` takes for more than one source.
struct WatchSettings {
    std::vector<std::string> urls;
    std::string config;
    EndpointSettings endpoint;

    // -> false: one source, as it has always been
    bool wanted() const { return urls.size() > 1 || !config.empty() || !endpoint.listen.empty(); }
};

void add_watch_options(CLI::App& command, WatchSettings& settings) {
    command.add_option("URL", settings.urls, "URL, or - for standard input; several are watched");
    command
        .add_option("--config", settings.config,
                    "Watch the sources that a file names; SIGHUP reads it again")
        ->type_name("FILE")
        ->check(check_given)
        ->excludes("URL");
    CLI::Option* const listen =
        command
            .add_option("--listen", settings.endpoint.listen,
                        "Answer over HTTP: /metrics, /api/sources, /healthz")
            ->type_name("ADDR:PORT")
            ->check(check_given);
    add_values(command, "--allow-host", settings.endpoint.allow_hosts, "NAME",
               "With --listen: a name that it is asked by; repeat for more")
        ->needs(listen);
}

std::shared_ptr<WatchOptions> watch_options_of(const WatchSettings& settings,
                                               const MonitorOptions& monitor) {
    const auto options = std::make_shared<WatchOptions>();
    options->urls = settings.urls;
    options->config = settings.config;
    options->source = settings.config.empty() ? settings.urls.front() : settings.config;
    options->interval_s = monitor.interval_s;
    options->json_lines = monitor.json_lines;
    options->limits = monitor.limits;
    options->endpoint = settings.endpoint;
    return options;
}

void add_monitor(CLI::App& root, CommandLine& line) {
    const auto options = std::make_shared<MonitorOptions>();
    CLI::App& command =
        *root.add_subcommand("monitor", "Watch live transport streams, on a screen or by reports");
    const auto watch = std::make_shared<WatchSettings>();
    add_watch_options(command, *watch);
    const CLI::Option* const interval =
        command
            .add_option("--interval", options->interval_s, "Seconds between reports (default 5)")
            ->option_text(" S")
            ->check(check_interval);
    command.add_flag("--json-lines", options->json_lines,
                     "Print each report as one line of JSON (docs/JSON.md)");
    command.add_flag("--history", options->history,
                     "With --json-lines: how the stream went over its time, too");
    command.add_flag("--plain", options->plain,
                     "Reports in place of the screen, as options near here do");
    command.add_flag("--resolver", options->resolver,
                     "Show what the library's resolver tells hosts");
    command.add_flag("--stats", options->statistics, "The same with arrival periods");
    const auto settings = std::make_shared<IndicatorSettings>();
    add_limits(command, *settings, kInHelp);
    add_exit_help(command, {kExitOk, kExitUsage, kExitCannotOpen, kExitUnknownFormat},
                  "Ctrl-C ends it with a last report.\n");
    command.callback([options, settings, watch, interval, &line] {
        if (options->history && !options->json_lines)
            throw CLI::RequiresError("--history", "--json-lines");
        options->limits = limits_from(settings->limits_file, settings->limits);
        // These are about reports.
        if (interval->count() > 0 || options->resolver || options->statistics)
            options->plain = true;
        if (watch->urls.empty() && watch->config.empty()) throw CLI::RequiredError("URL");
        if (!watch->wanted()) {
            options->source = watch->urls.front();
            return choose(line, options);
        }
        if (options->history) throw CLI::ValidationError("--history is for one source");
        const auto many = watch_options_of(*watch, *options);
        // A service that is asked has a log for what happens, and no use for tables in it.
        many->reports =
            watch->endpoint.listen.empty() || options->json_lines || interval->count() > 0;
        choose(line, many);
    });
}

void add_extract(CLI::App& root, CommandLine& line) {
    const auto options = std::make_shared<ExtractOptions>();
    CLI::App& command = *root.add_subcommand(
        "extract", "Write the elementary streams of a transport stream to files");
    command.add_option("SOURCE", options->source, "File, URL, or - for standard input")->required();
    command.add_option("DIR", options->directory, "Directory for the files, made when missing")
        ->required();
    add_values(command, "--pid", options->pids, "PID",
               "Only this PID, listed or not; repeat for more");
    add_values(command, "--program", options->programs, "N",
               "Only this programme; repeat for more");
    command.add_flag("--sections", options->sections, "Tables as well, as they came");
    add_exit_help(command, {kExitOk, kExitUsage, kExitCannotOpen, kExitUnknownFormat});
    when_named(command, line, options);
}

void add_rtp(CLI::App& root, CommandLine& line) {
    const auto options = std::make_shared<RtpOptions>();
    CLI::App& command =
        *root.add_subcommand("rtp", "Take a transport stream out of RTP, and count losses");
    command.add_option("SOURCE", options->source, "URL such as rtp://@239.1.1.1:5004")->required();
    command.add_option("OUT", options->out, "File for the transport stream; - for standard output");
    command
        .add_option("--reorder-packets", options->window.packets,
                    "Packets that may overtake one in time (default 128)")
        ->type_name("N")
        ->check(CLI::Range(0, RtpWindow::kMostPackets));
    command
        .add_option("--reorder-ms", options->window.time_ms,
                    "How long a packet is waited for, in ms (default 200)")
        ->type_name("MS")
        ->check(CLI::Range(0, RtpWindow::kMostTime_ms));
    add_exit_help(command, {kExitOk, kExitUsage, kExitCannotOpen, kExitUnknownFormat});
    when_named(command, line, options);
}

void add_pace(CLI::App& root, CommandLine& line) {
    const auto options = std::make_shared<PaceOptions>();
    CLI::App& command = *root.add_subcommand("pace", "Send a transport stream in real time");
    command.add_option("SOURCE", options->source, "File, URL, or - for standard input")->required();
    command
        .add_option("--to", options->to,
                    "udp:// or rtp://host:port for datagrams of seven packets, or\n"
                    "tcp://host:port; without it standard output, if no terminal")
        ->type_name("URL")
        ->check(check_destination);
    command.add_option("--by", options->by, "The clock to follow: pcr (default) or pts")
        ->option_text(" CLOCK")
        ->check(CLI::IsMember({"pcr", "pts"}));
    command
        .add_flag("--loop", options->loop, "Send a file N times, or without an end, as one stream")
        ->option_text("[=N]")
        ->check(check_loop);
    add_exit_help(command, {kExitOk, kExitUsage, kExitCannotOpen, kExitUnknownFormat});
    when_named(command, line, options);
}

void add_copy_files(CLI::App& command, CopyFiles& files, const std::string& what_in) {
    command.add_option("IN", files.in, what_in)->required();
    command.add_option("OUT", files.out, "The copy, which may replace IN; - for standard output")
        ->required();
}

void add_remap(CLI::App& root, CommandLine& line) {
    const auto options = std::make_shared<RemapOptions>();
    CLI::App& command = *root.add_subcommand(
        "remap", "Copy a stream under other numbers and PIDs, or a part of it");
    add_copy_files(command, *options, "The transport stream, a file");
    command
        .add_option("--from", options->from, "Copy only this programme; others become null packets")
        ->type_name("N");
    add_values(command, "--program", options->programs, "[OLD:]N",
               "New programme number; repeat for more");
    add_values(command, "--map", options->maps, "OLD:NEW", "New PID; repeat for more");
    command.add_option("--pmt", options->pmt, "New PID of the programme's PMT")->type_name("PID");
    command
        .add_option("--pcr", options->pcr, "New PID of its PCR: one of its streams', or its own")
        ->type_name("PID");
    command.add_option("--es", options->es, "New PIDs of its streams, in the order of the PMT")
        ->type_name("PID,PID");
    add_values(command, "--drop", options->drops, "PID",
               "Leave a PID out, in the tables as well; repeat for more");
    command.add_flag("--drop-nulls", options->drop_nulls, "Leave null packets out");
    add_exit_help(command, {kExitOk, kExitUsage, kExitCannotOpen, kExitUnknownFormat},
                  "PIDs and numbers are decimal, or hexadecimal after 0x. A number without\n"
                  "OLD, and --pmt, --pcr, --es, are of the only programme, or that of --from.\n");
    when_named(command, line, options);
}

// A sort of packet is a command below `build`.
template <typename Options>
CLI::App& add_kind(CLI::App& build, CommandLine& line, const char* name, const char* description,
                   const std::shared_ptr<Options>& options) {
    CLI::App& kind = *build.add_subcommand(name, description);
    kind.add_option("OUT", options->out, "File to write; - for standard output")->required();
    when_named(kind, line, options);
    return kind;
}

void add_build_pat(CLI::App& build, CommandLine& line) {
    const auto options = std::make_shared<BuildPatOptions>();
    CLI::App& pat = add_kind(build, line, "pat", "A programme list", options);
    add_values(pat, "--program", options->programs, "N:PID",
               "Programme and PID of its PMT; repeat for more")
        ->required();
}

void add_build_pmt(CLI::App& build, CommandLine& line) {
    const auto options = std::make_shared<BuildPmtOptions>();
    CLI::App& pmt = add_kind(build, line, "pmt", "A programme map", options);
    pmt.add_option("--program", options->program, "Programme number (default 1)")->type_name("N");
    pmt.add_option("--pmt", options->pmt, "PID of the table")->type_name("PID")->required();
    pmt.add_option("--pcr", options->pcr, "PID with the PCR, 0x1fff for none")
        ->type_name("PID")
        ->required();
    add_values(pmt, "--stream", options->streams, "TYPE:PID[:HEX]",
               "Type, PID, descriptors; repeat for more")
        ->required();
}

void add_build_sdt(CLI::App& build, CommandLine& line) {
    const auto options = std::make_shared<BuildSdtOptions>();
    CLI::App& sdt = add_kind(build, line, "sdt", "A service description", options);
    sdt.add_option("--service", options->service, "Service number (default 1)")->type_name("N");
    sdt.add_option("--provider", options->provider, "Name of the provider");
    sdt.add_option("--name", options->name, "Name of the service");
}

void add_build_null(CLI::App& build, CommandLine& line) {
    const auto options = std::make_shared<BuildNullOptions>();
    CLI::App& null = add_kind(build, line, "null", "Packets without contents", options);
    null.add_option("--count", options->count, "How many (default 1)")->type_name("N");
}

// What is no kind of packet falls through to the sources of the root.
void check_kind(const CLI::App& build, const CLI::Option& fallen_through) {
    if (!build.get_subcommands().empty()) return;
    constexpr char kKinds[] = "pat, pmt, sdt, null";
    if (fallen_through.count() == 0)
        throw CLI::ValidationError("build", std::string("name one of ") + kKinds);
    throw CLI::ValidationError("build",
                               "\"" + fallen_through.results().front() + "\" is none of " + kKinds);
}

void add_build(CLI::App& root, CommandLine& line) {
    CLI::App& build = *root.add_subcommand("build", "Write a table, or null packets, of 188 bytes");
    build.callback([&] { check_kind(build, *root.get_option("SOURCE")); });
    add_exit_help(build, {kExitOk, kExitUsage, kExitCannotOpen});
    add_build_pat(build, line);
    add_build_pmt(build, line);
    add_build_sdt(build, line);
    add_build_null(build, line);
}

void add_flv_meta(CLI::App& root, CommandLine& line) {
    const auto options = std::make_shared<FlvMetaOptions>();
    CLI::App& command =
        *root.add_subcommand("flv-meta", "Copy an FLV file with a fresh onMetaData block");
    command.add_option("IN", options->in, "The FLV file")->required();
    CLI::Option* const out = command.add_option(
        "OUT", options->out, "The copy, which may replace IN; - for standard output");
    CLI::Option* const update =
        command.add_flag("--update", options->update, "Replace IN by the copy, once that is whole");
    update->excludes(out);
    command.add_flag("--rebase", options->rebase, "Move the time stamps so that they begin at 0");
    add_exit_help(command, {kExitOk, kExitUsage, kExitCannotOpen, kExitUnknownFormat});
    command.callback([options, &line] {
        if (options->update)
            options->out = options->in;
        else if (options->out.empty())
            throw CLI::RequiredError("OUT or --update");
        choose(line, options);
    });
}

void add_mp3_fix(CLI::App& root, CommandLine& line) {
    const auto options = std::make_shared<Mp3FixOptions>();
    CLI::App& command = *root.add_subcommand("mp3-fix", "Copy an MPEG audio file without damage");
    add_copy_files(command, *options, "The MPEG audio file");
    add_exit_help(
        command, {kExitOk, kExitUsage, kExitCannotOpen, kExitUnknownFormat},
        "Tags are kept, what belongs to no frame is left out; nothing is encoded anew.\n");
    when_named(command, line, options);
}

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
