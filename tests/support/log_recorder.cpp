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
constexpr unsigned kLevels = 7;

struct Recording {
    bool on = false;
    unsigned level = kLevelAtStart;
    std::vector<LogLine> lines;
    std::vector<HexDump> dumps;
    std::vector<std::string> opened;
};

Recording& recording() {
    static Recording it;
    return it;
}

void reset(unsigned level, std::string_view tag_filter) {
    recording() = Recording{};
    recording().level = level;
    memset(strfilterTags, 0, sizeof strfilterTags);
    tag_filter.copy(strfilterTags, sizeof strfilterTags - 1);
    flag_printLineFunc = 0;
    flag_stdPrint = 0;
}

std::string format_text(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    std::string text(static_cast<size_t>(vsnprintf(nullptr, 0, format, again)), '\0');
    va_end(again);
    vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

unsigned level_of(std::string_view name) {
    unsigned level = 0;
    while (level < kLevels && name != strLoglevel_simple[level])
        ++level;
    return level;
}

// A line of the log macro begins with time, [level], [tag] and, when asked for, [function line].
LogLine parse_line(const std::string& text, const char* level, const char* tag) {
    LogLine line = {level_of(level), tag, text, text};
    size_t prefix = strlen(kLogTime) + strlen(level) + strlen(tag) + 4;
    if (flag_printLineFunc) prefix = text.find(']', prefix) + 1;
    line.body.erase(0, prefix);
    if (line.body.ends_with("\r\n")) line.body.erase(line.body.size() - 2);
    return line;
}

}  // namespace

LogRecorder::LogRecorder(unsigned level, std::string_view tag_filter) {
    reset(level, tag_filter);
    recording().on = true;
}
LogRecorder::~LogRecorder() {
    reset(kLevelAtStart, "");
}

void LogRecorder::clear() {
    recording().lines.clear();
    recording().dumps.clear();
}
const std::vector<LogLine>& LogRecorder::lines() const {
    return recording().lines;
}
const std::vector<HexDump>& LogRecorder::hex_dumps() const {
    return recording().dumps;
}
const std::vector<std::string>& LogRecorder::opened() const {
    return recording().opened;
}

std::vector<std::string> LogRecorder::bodies() const {
    std::vector<std::string> all;
    for (const LogLine& line : lines())
        all.push_back(line.body);
    return all;
}

std::vector<std::string> LogRecorder::bodies(unsigned level) const {
    std::vector<std::string> some;
    for (const LogLine& line : lines()) {
        if (line.level == level) some.push_back(line.body);
    }
    return some;
}

namespace {

std::string join(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts)
        all += (&text == texts.data() ? "" : "|") + text;
    return all;
}

}  // namespace

std::string LogRecorder::text() const {
    return join(bodies());
}
std::string LogRecorder::text(unsigned level) const {
    return join(bodies(level));
}

int LogRecorder::count(std::string_view text) const {
    return static_cast<int>(std::ranges::count_if(
        lines(), [&](const LogLine& line) { return line.body.find(text) != std::string::npos; }));
}

}  // namespace zvtest

using zvtest::recording;

extern "C" {

const char* strLoglevel_simple[] = {"FATAL", "ERROR", "WARN", "INFO", "DEBUG", "VERBOSE", "TRACE"};
char strfilterTags[256] = "";
unsigned char flag_printLineFunc = 0;
unsigned char flag_stdPrint = 0;

int zvlog_api_init(int level, const char* dir, const char* file, int) {
    recording().level = static_cast<unsigned>(level);
    const bool to_file = file != nullptr && file[0] != '\0';
    if (!to_file) flag_stdPrint = 1;
    recording().opened.push_back(to_file ? std::string(dir ? dir : "") + "/" + file : "");
    return 0;
}
void zvlog_api_deinit(void) {}
unsigned zvlog_api_getLoglevel(void) {
    return recording().level;
}
void zvlog_api_setLoglevel(unsigned level) {
    recording().level = level;
}

int zvlog_api_strCasestrNum(const char* list, const char* word, int, int) {
    int found = 0;
    for (const char* at = list; (at = strcasestr(at, word)) != nullptr; at += strlen(word))
        ++found;
    return found;
}

void zvlog_innerapi_file(const char* format, ...) {
    if (!recording().on) return;
    va_list arguments;
    va_start(arguments, format);
    const std::string text = zvtest::format_text(format, arguments);
    va_end(arguments);
    if (strncmp(format, "%s[%s][%s]", 10) != 0) {
        recording().lines.push_back({0, "", text, text});
        return;
    }
    va_start(arguments, format);
    va_arg(arguments, const char*);
    const char* level = va_arg(arguments, const char*);
    const char* tag = va_arg(arguments, const char*);
    recording().lines.push_back(zvtest::parse_line(text, level, tag));
    va_end(arguments);
}

const char* zvlog_innerapi_logTime(void) {
    return zvtest::kLogTime;
}

void zvlog_innerapi_bufHex(const char* label, const void* data, int length, const char*, int) {
    if (!recording().on || recording().level == 0) return;
    const auto* bytes = static_cast<const uint8_t*>(data);
    recording().dumps.push_back({label, length, {bytes, bytes + length}});
}

char* zvlog_innerapi_num2str(char* buf, int64_t value) {
    snprintf(buf, 32, "%lld", static_cast<long long>(value));
    return buf;
}

// Recorded under the tag "av_log", at the level of the call.
void av_log(void*, int level, const char* format, ...) {
    if (!recording().on) return;
    va_list arguments;
    va_start(arguments, format);
    const std::string text = zvtest::format_text(format, arguments);
    va_end(arguments);
    recording().lines.push_back({static_cast<unsigned>(level), "av_log", text, text});
}

}  // extern "C"
