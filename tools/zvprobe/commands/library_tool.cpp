// SPDX-License-Identifier: MIT
// Implementation of library_tool.h.
#include "commands/library_tool.h"
#include "render/complaint.h"

#include <sys/stat.h>
#include <unistd.h>

#include <charconv>
#include <csignal>
#include <cstring>

#include "base/exit_status.h"
#include "base/interrupt.h"
#include "commands/library_log.h"
#include "io/file_feeder.h"
#include "render/progress.h"
#include "render/report_lines.h"
#include "render/terminal.h"
#include "ts_tools.h"
#include "zvprotocol.h"

namespace zvprobe {
namespace {

// The report's line about packets; one that begins otherwise is another.
bool has_no_packets(std::string_view line) {
    constexpr std::string_view kStart = "* packets,skippedBytes,syncLosses:";
    if (!line.starts_with(kStart)) return false;
    uint64_t packets = 1;
    std::from_chars(line.data() + kStart.size(), line.data() + line.size(), packets);
    return packets == 0;
}

// Of other sources the tools do not say why they do not open.
std::string why_not_open(const std::string& name) {
    ZvptcUrlInfo info{};
    const int split = zvptc_api_urlSplit_urlinfo(&info, name.c_str());
    if (split < 0) return std::strerror(-split);
    if (zvptc_api_matchByName(info.scheme) == nullptr)
        return "unknown protocol \"" + std::string(info.scheme) + "\"";
    return "cannot be opened";
}

// What waits for nobody is fed through a pipe.
bool is_fed(const std::string& name) {
    ZvptcUrlInfo info{};
    struct stat status {};
    return name != "-" && zvptc_api_urlSplit_urlinfo(&info, name.c_str()) == 0 &&
           info.ptc_index == ZVPTC_INDEX_FILE &&
           (stat(info.path, &status) != 0 || S_ISREG(status.st_mode) || S_ISDIR(status.st_mode));
}

bool sends_datagrams(const std::string& name) {
    const int index = zvptc_api_getPtcindex(name.c_str(), 0, 0);
    return index == ZVPTC_INDEX_UDP || index == ZVPTC_INDEX_RTP;
}

struct Run {
    int result;
    std::string read_error;
};

Run run_on_source(const LibraryTool& tool, const Session& session, int log_level) {
    if (!is_fed(tool.source)) return {tool.run(log_level, tool.source.c_str()), {}};
    FileFeeder feeder(open_source(tool.source), !session.quiet && is_terminal(STDERR_FILENO));
    const int result = tool.run(log_level, feeder.path().c_str());
    return {result, feeder.finish()};
}

// "Write /x/y failed:No space left on device" -> what stands behind the colon
std::string why_not_written(const std::string& error) {
    const size_t colon = error.rfind(':');
    return colon == error.npos ? error : error.substr(colon + 1);
}

ExitStatus status_of(const LibraryTool& tool, const Run& run, const LibraryLog& log,
                     bool unknown_format) {
    const auto fail = [](const std::string& name, const std::string& message) {
        complain(name, message);
        return kExitCannotOpen;
    };
    if (run.result == ZV_TS_TOOL_CANNOT_WRITE)
        return fail(tool.output, "cannot be written: " + why_not_written(log.last_error()));
    if (!run.read_error.empty()) return fail(tool.source, run.read_error);
    // The tool may have taken the end that the signal made for that of the source.
    if (interrupted() && !tool.output.empty() && !sends_datagrams(tool.source))
        return fail(tool.source, "interrupted, nothing is written");
    if (run.result == ZV_TS_TOOL_CANNOT_READ)
        return fail(tool.source, "nothing came, or reading stopped early");
    if (run.result != ZV_TS_TOOL_DONE) return fail(tool.source, why_not_open(tool.source));
    if (!unknown_format) return kExitOk;
    complain(tool.source, "not a known format");
    return kExitUnknownFormat;
}

}  // namespace

int run_library_tool(const LibraryTool& tool, const Session& session, std::ostream& out,
                     const TextOptions& options) {
    bool unknown_format = false;
    const auto print = [&](std::string_view line) {
        wipe_progress();
        print_report_line(out, line, options);
        unknown_format = unknown_format || has_no_packets(line);
    };
    std::signal(SIGXFSZ, SIG_IGN);  // a file that grows too large is an error like others
    LibraryLog log(session, print);
    try {
        const Run run = run_on_source(tool, session, log.level());
        return status_of(tool, run, log, unknown_format);
    } catch (const SourceError& error) {
        complain(tool.source, error.what());
        return kExitCannotOpen;
    }
}

}  // namespace zvprobe
