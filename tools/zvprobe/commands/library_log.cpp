// SPDX-License-Identifier: MIT
// Implementation of library_log.h. A line is "time[LEVEL][TAG]body", with CR and LF behind it.
#include "commands/library_log.h"
#include "render/complaint.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "zvlog.h"
#include "zvlog_ext.h"

namespace zvprobe {
namespace {

constexpr int kLevelError = 1;
constexpr int kLevelInformation = 3;
constexpr int kLevels = 7;

// Cuts what stands between "[" and "]" off the front of a line; -> nothing when there is no such
// thing.
std::string_view cut_bracketed(std::string_view& line) {
    const size_t open = line.find('[');
    const size_t close = line.find(']', open == line.npos ? 0 : open);
    if (open == line.npos || close == line.npos) return {};
    const std::string_view inside = line.substr(open + 1, close - open - 1);
    line.remove_prefix(close + 1);
    return inside;
}

// -> kLevels for a line that has no level, as those of a hex dump
int level_named(std::string_view name) {
    return static_cast<int>(std::find(strLoglevel_simple, strLoglevel_simple + kLevels, name) -
                            strLoglevel_simple);
}

std::string_view without_line_end(std::string_view line) {
    return line.substr(0, line.find_last_not_of("\r\n") + 1);
}

}  // namespace

LibraryLog::LibraryLog(const Session& session, std::function<void(std::string_view)> on_report)
    : on_report_(std::move(on_report)), user_level_(wanted_log_level(session)) {
    if (session.log_file.empty()) {
        user_file_ = stderr;
    } else if ((user_file_ = std::fopen(session.log_file.c_str(), "ae")) == nullptr) {
        complain(session.log_file, std::strerror(errno));
    }
    const auto observe = [](void* user, const char* text, size_t length) {
        static_cast<LibraryLog*>(user)->take({text, length});
    };
    zvlog_ext_setObserver(observe, this);
}

LibraryLog::~LibraryLog() {
    zvlog_ext_setObserver(nullptr, nullptr);
    if (user_file_ != nullptr && user_file_ != stderr) std::fclose(user_file_);
}

int LibraryLog::level() const {
    return std::max(user_level_, kLevelInformation);
}

void LibraryLog::take(std::string_view text) {
    std::string_view rest = text;
    const int line_level = level_named(cut_bracketed(rest));
    pass_on(line_level, text);
    if (line_level != kLevelError && line_level != kLevelInformation) return;
    cut_bracketed(rest);
    const std::string_view body = without_line_end(rest);
    if (line_level == kLevelError)
        last_error_ = body;
    else
        on_report_(body);
}

// Hex dumps come along when somebody listens at all.
void LibraryLog::pass_on(int level, std::string_view text) const {
    const bool wanted = level < kLevels ? level <= user_level_ : user_level_ > 0;
    if (wanted && user_file_ != nullptr) std::fwrite(text.data(), 1, text.size(), user_file_);
}

}  // namespace zvprobe
