// SPDX-License-Identifier: MIT
// The commands that report: probe and monitor.
#include <algorithm>

#include "base/numbers.h"
#include "cli/declare.h"
#include "cli/help.h"
#include "commands/parts/limits_file.h"
#include "io/output/out_file.h"

namespace zvprobe {
namespace {

constexpr char kInHelp[] = "Options";  // the group of all that say nothing else

constexpr unsigned kMostJobs = 256;
constexpr double kShortestInterval_s = 0.1;
constexpr double kLongestInterval_s = 86400;

// -> what is wrong with it; the command line library says "true" when no value is given
std::string check_pace(const std::string& text) {
    const bool known = text == "true" || text == "pcr" || text == "pts";
    return known ? "" : "\"" + text + "\" is neither pcr nor pts";
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
    bool null_separated = false;
};

void add_many_sources(CLI::App& app, ProbeSettings& settings, const char* group) {
    ProbeOptions& options = settings.options;
    app.add_flag("--json-lines", options.json_lines,
                 "Print a line of JSON for each source as it is done")
        ->group(group);
    CLI::Option* const list = app.add_option("--files-from", options.files_from,
                                             "Read more sources from a list, a line each")
                                  ->type_name("FILE")
                                  ->check(check_given)
                                  ->group(group);
    app.add_flag("-0,--null", settings.null_separated,
                 "With --files-from: names end with NUL (find -print0)")
        ->needs(list)
        ->group(group);
}

void add_probe_options(CLI::App& app, ProbeSettings& settings, const char* detail_group) {
    ProbeOptions& options = settings.options;
    app.add_option("SOURCE", options.sources, "Files, URLs, or - for standard input");
    app.add_flag("--json", options.json, "Print one JSON object (docs/JSON.md)");
    app.add_option("--html", options.html, "Write a page with plots; - for standard output")
        ->type_name("FILE")
        ->check(check_given);
    app.add_flag("--history", options.history,
                 "With --json, --json-lines: how it went over its time, too")
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
    add_many_sources(app, settings, detail_group);
    add_limits(app, settings, detail_group);
    add_exit_help(app, {kExitOk, kExitFindings, kExitUsage, kExitCannotOpen, kExitUnknownFormat});
}

void check_sources(const ProbeOptions& options) {
    if (options.sources.empty() && options.files_from.empty()) throw CLI::RequiredError("SOURCE");
    const bool reads_input = std::ranges::count(options.sources, "-") > 0;
    if (reads_input && options.files_from == "-")
        throw CLI::ExcludesError("--files-from -", "- as a source");
}

// The page and the one object have all sources in them, lines have one each.
void check_outputs(const ProbeOptions& options) {
    if (options.json && is_standard_output(options.html))
        throw CLI::ExcludesError("--html -", "--json");
    if (options.json_lines && options.json) throw CLI::ExcludesError("--json-lines", "--json");
    if (options.json_lines && !options.html.empty())
        throw CLI::ExcludesError("--json-lines", "--html");
    if (options.history && !options.json && !options.json_lines)
        throw CLI::RequiresError("--history", "--json or --json-lines");
}

ProbeOptions probe_options_of(const ProbeSettings& settings) {
    ProbeOptions options = settings.options;
    if (settings.null_separated) options.separator = '\0';
    check_sources(options);
    check_outputs(options);
    options.limits = limits_from(settings.limits_file, settings.limits);
    if (settings.indicators.empty()) return options;
    if (!options.strict) throw CLI::RequiresError("--indicators", "--strict");
    options.indicators = IndicatorChoice(settings.indicators);
    return options;
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
    auto options = std::make_shared<WatchOptions>();
    options->urls = settings.urls;
    options->config = settings.config;
    options->source = settings.config.empty() ? settings.urls.front() : settings.config;
    options->interval_s = monitor.interval_s;
    options->json_lines = monitor.json_lines;
    options->limits = monitor.limits;
    options->endpoint = settings.endpoint;
    return options;
}

}  // namespace

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

}  // namespace zvprobe
