// SPDX-License-Identifier: MIT
// Defines every function and object of zvlog.h, so that nothing is taken from the real library.
#include "support/log_recorder.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "zvlog.h"

namespace zvtest {
namespace {

constexpr unsigned kLevelAtStart = 2;
constexpr int kLevels = 7;
constexpr char kTime[] = "2024-05-06 07:08:09.123";

LogRecorder* living;
unsigned threshold = kLevelAtStart;

void reset(unsigned level, std::string_view tag_filter) {
    threshold = level;
    memset(strfilterTags, 0, sizeof strfilterTags);
    tag_filter.copy(strfilterTags, sizeof strfilterTags - 1);
    flag_printLineFunc = flag_stdPrint = 0;
}

std::string format_text(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    std::string text(static_cast<size_t>(vsnprintf(nullptr, 0, format, again)), '\0');
    va_end(again);
    vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

// A line of the log macro begins with time, [level], [tag] and, when asked for, [function line].
LogLine parse_line(const std::string& text) {
    if (!text.starts_with(kTime)) return {0, "", text, text};
    std::string_view rest = std::string_view(text).substr(strlen(kTime));
    const auto bracketed = [&rest] {
        const size_t end = rest.find(']');
        const std::string_view word = rest.substr(1, end - 1);
        rest.remove_prefix(end + 1);
        return word;
    };
    LogLine line = {0, "", "", text};
    const std::string_view level = bracketed();
    while (line.level < kLevels && level != strLoglevel_simple[line.level])
        ++line.level;
    line.tag = bracketed();
    if (flag_printLineFunc) bracketed();
    line.body = rest.substr(0, rest.size() - (rest.ends_with("\r\n") ? 2 : 0));
    return line;
}

}  // namespace

LogRecorder::LogRecorder(unsigned level, std::string_view tag_filter) {
    reset(level, tag_filter);
    living = this;
}
LogRecorder::~LogRecorder() {
    reset(kLevelAtStart, "");
    living = nullptr;
}

void LogRecorder::clear() {
    lines.clear();
    hex_dumps.clear();
}

std::vector<std::string> LogRecorder::bodies(int level) const {
    std::vector<std::string> some;
    for (const LogLine& line : lines) {
        if (level < 0 || line.level == level) some.push_back(line.body);
    }
    return some;
}

std::string LogRecorder::text(int level) const {
    std::string all;
    for (const std::string& body : bodies(level))
        all += body + "|";
    return all.substr(0, all.size() - !all.empty());
}

int LogRecorder::count(std::string_view text) const {
    return static_cast<int>(std::ranges::count_if(
        lines, [&](const LogLine& line) { return line.body.find(text) != std::string::npos; }));
}

}  // namespace zvtest

using zvtest::living;

extern "C" {

const char* strLoglevel_simple[] = {"FATAL", "ERROR", "WARN", "INFO", "DEBUG", "VERBOSE", "TRACE"};
char strfilterTags[256] = "";
unsigned char flag_printLineFunc = 0;
unsigned char flag_stdPrint = 0;

int zvlog_api_init(int level, const char* dir, const char* file, int) {
    zvlog_api_setLoglevel(static_cast<unsigned>(level));
    const bool to_file = file != nullptr && file[0] != '\0';
    if (!to_file) flag_stdPrint = 1;
    if (living) living->opened.push_back(to_file ? std::string(dir ? dir : "") + "/" + file : "");
    return 0;
}
void zvlog_api_deinit(void) {}
unsigned zvlog_api_getLoglevel(void) {
    if (zvtest::living != nullptr) ++zvtest::living->level_questions;
    return zvtest::threshold;
}
void zvlog_api_setLoglevel(unsigned level) {
    zvtest::threshold = level;
}

int zvlog_api_strCasestrNum(const char* list, const char* word, int, int) {
    int found = 0;
    for (const char* at = list; (at = strcasestr(at, word)) != nullptr; at += strlen(word))
        ++found;
    return found;
}

void zvlog_innerapi_file(const char* format, ...) {
    if (!living) return;
    va_list arguments;
    va_start(arguments, format);
    const std::string text = zvtest::format_text(format, arguments);
    va_end(arguments);
    living->lines.push_back(zvtest::parse_line(text));
}

const char* zvlog_innerapi_logTime(void) {
    return zvtest::kTime;
}

void zvlog_innerapi_bufHex(const char* label, const void* data, int length, const char*, int) {
    if (!living || zvtest::threshold == 0) return;
    const auto* bytes = static_cast<const uint8_t*>(data);
    living->hex_dumps.push_back({label, length, {bytes, bytes + length}});
}

char* zvlog_innerapi_num2str(char* buf, int64_t value) {
    snprintf(buf, 32, "%lld", static_cast<long long>(value));
    return buf;
}

// Recorded under the tag "av_log", at the level of the call.
void av_log(void*, int level, const char* format, ...) {
    if (!living) return;
    va_list arguments;
    va_start(arguments, format);
    const std::string text = zvtest::format_text(format, arguments);
    va_end(arguments);
    living->lines.push_back({level, "av_log", text, text});
}

}  // extern "C"
