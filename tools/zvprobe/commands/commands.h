// SPDX-License-Identifier: MIT
// The tool's commands: the options of each as a struct, and the function that runs it. How options
// are spelled on the command line is in command_line.h.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "commands/session.h"
#include "io/rtp_stream.h"
#include "ts/indicator_choice.h"
#include "watch/http/endpoint.h"
#include "zvsurvey.h"

namespace zvprobe {

struct ProbeOptions {
    std::vector<std::string> sources;
    std::string files_from;  // list of more sources; empty: none
    char separator = '\n';   // of its names
    bool json = false;
    bool json_lines = false;  // a line for each source as it is done
    bool history = false;     // over the stream's time, in the JSON
    bool resolver = false;    // show the resolver's account, too
    bool statistics = false;
    bool strict = false;
    IndicatorChoice indicators;  // that count as errors, too
    ZvSurveyLimits limits = {};
    std::string html;   // the page to write in place of a report; empty: none
    std::string pace;   // "pts", any other name for the PCR, or empty for full speed
    uint32_t jobs = 0;  // sources read at a time; 0: as many as there are cores
};

struct MonitorOptions {
    std::string source;
    double interval_s = 5;
    bool json_lines = false;
    bool history = false;  // over the stream's time, in the JSON
    bool plain = false;    // reports on a terminal, too, in place of the screen
    bool resolver = false;
    bool statistics = false;
    ZvSurveyLimits limits = {};
};

// `monitor` of many sources.
struct WatchOptions {
    std::string source;             // what complaints name: the file, or the first URL
    std::vector<std::string> urls;  // without a file
    std::string config;             // file that names the sources; empty for none
    double interval_s = 5;
    bool reports = true;  // to standard output
    bool json_lines = false;
    ZvSurveyLimits limits = {};
    EndpointSettings endpoint;  // with an empty address for none
};

struct ExtractOptions {
    std::string source;
    std::string directory;
    // What is wanted, and not all there is.
    std::vector<std::string> pids = {};
    std::vector<std::string> programs = {};
    bool sections = false;  // tables, too
};

struct RtpOptions {
    std::string source;
    std::string out;  // empty: only count
    RtpWindow window = {};
};

struct PaceOptions {
    std::string source;
    std::string to;  // empty: standard output, if no terminal
    std::string by = "pcr";
    std::string loop = "1";  // how often, or "true" for without an end
};

struct CopyFiles {
    std::string in;
    std::string out;
};

struct FlvMetaOptions : CopyFiles {
    bool update = false;  // the copy replaces the file
    bool rebase = false;  // move the time stamps to 0
};

struct Mp3FixOptions : CopyFiles {};

struct RemapOptions : CopyFiles {
    std::string from;                   // the programme to cut out; empty: all are copied
    std::vector<std::string> programs;  // new number, or old:new
    std::vector<std::string> maps;      // PIDs, old:new
    std::vector<std::string> drops;     // PIDs
    bool drop_nulls = false;
    std::string pmt;
    std::string pcr;
    std::string es;
};

struct BuildPatOptions {
    std::string out;
    std::vector<std::string> programs;  // number:pid
};

struct BuildPmtOptions {
    std::string out;
    std::string program = "1";
    std::string pmt;
    std::string pcr;
    std::vector<std::string> streams;  // type:pid[:descriptors]
};

struct BuildSdtOptions {
    std::string out;
    std::string service = "1";
    std::string provider;
    std::string name;
};

struct BuildNullOptions {
    std::string out;
    std::string count = "1";
};

// Each runs the whole command and reports on standard error what failed. -> exit status
int run_command(const ProbeOptions& options, const Session& session);
int run_command(const MonitorOptions& options, const Session& session);
int run_command(const WatchOptions& options, const Session& session);
int run_command(const ExtractOptions& options, const Session& session);
int run_command(const RtpOptions& options, const Session& session);
int run_command(const PaceOptions& options, const Session& session);
int run_command(const FlvMetaOptions& options, const Session& session);
int run_command(const Mp3FixOptions& options, const Session& session);
int run_command(const RemapOptions& options, const Session& session);
int run_command(const BuildPatOptions& options, const Session& session);
int run_command(const BuildPmtOptions& options, const Session& session);
int run_command(const BuildSdtOptions& options, const Session& session);
int run_command(const BuildNullOptions& options, const Session& session);

}  // namespace zvprobe
