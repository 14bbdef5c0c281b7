// SPDX-License-Identifier: MIT
// Implementation of library_tool.h.
#include "library_tool.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>

#include "exit_status.h"
#include "library_log.h"
#include "terminal.h"
#include "zvprotocol.h"

namespace zvprobe {
namespace {

enum ToolResult : int { kDone = 0, kCannotOpen = -2, kCannotRead = -3, kCannotWrite = -4 };

// The report's line about packets; one that begins otherwise is another.
bool has_no_packets(std::string_view line) {
    constexpr std::string_view kStart = "* packets,skippedBytes,syncLosses:";
    if (!line.starts_with(kStart)) return false;
    uint64_t packets = 1;
    std::from_chars(line.data() + kStart.size(), line.data() + line.size(), packets);
    return packets == 0;
}

// The tools do not say why a source does not open; for files that is easily found out.
std::string why_not_open(const std::string& name) {
    ZvptcUrlInfo info{};
    const int split = zvptc_api_urlSplit_urlinfo(&info, name.c_str());
    if (split < 0) return std::strerror(-split);
    if (zvptc_api_matchByName(info.scheme) == nullptr)
        return "unknown protocol \"" + std::string(info.scheme) + "\"";
    if (info.ptc_index != ZVPTC_INDEX_FILE) return "cannot be opened";
    struct stat status {};
    if (stat(info.path, &status) != 0 || access(info.path, R_OK) != 0) return std::strerror(errno);
    return S_ISDIR(status.st_mode) ? std::strerror(EISDIR) : "cannot be opened";
}

// "Write /x/y failed:No space left on device" -> what stands behind the colon
std::string why_not_written(const std::string& error) {
    const size_t colon = error.rfind(':');
    return colon == error.npos ? error : error.substr(colon + 1);
}

}  // namespace

int run_library_tool(const LibraryTool& tool, const Session& session, std::ostream& out) {
    bool unknown_format = false;
    const auto print = [&](std::string_view line) {
        out << printable(line) << '\n';
        unknown_format = unknown_format || has_no_packets(line);
    };
    std::signal(SIGXFSZ, SIG_IGN);  // a file that grows too large is an error like others
    LibraryLog log(session, print);
    switch (tool.run(log.level())) {
        case kDone:
            if (!unknown_format) return kExitOk;
            complain(tool.source, "not a known format");
            return kExitUnknownFormat;
        case kCannotRead:
            complain(tool.source, "nothing came, or reading stopped early");
            return kExitCannotOpen;
        case kCannotWrite:
            complain(tool.output, "cannot be written: " + why_not_written(log.last_error()));
            return kExitCannotOpen;
        default:
            complain(tool.source, why_not_open(tool.source));
            return kExitCannotOpen;
    }
}

}  // namespace zvprobe
