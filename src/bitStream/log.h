// SPDX-License-Identifier: MIT
// The one way a diagnostic line leaves the library: level and tag filter first, then the log file,
// then the coloured console echo. Levels, filter and switches belong to the log library.
#pragma once

#include <cstdint>
#include <cstdio>

#include "zvlog.h"

// Console colour by level.
inline constexpr const char* zv_col[7] = {
    "\033[1;35m", "\033[1;31m", "\033[1;33m", "\033[1;34m", "\033[0m", "\033[0;32m", "\033[0;36m",
};

namespace zv {

// Where the tools and self tests write their log files.
inline constexpr char kLogDirectory[] = "/var/log/tavrix";

enum LogLevel : unsigned {
    kLogError = 1,
    kLogWarning = 2,
    kLogInfo = 3,
    kLogDebug = 4,
    kLogVerbose = 5,
};

// The level test comes first: a suppressed line costs one call and no search for tags.
inline bool log_enabled(unsigned level, const char* tag) {
    if (zvlog_api_getLoglevel() < level) return false;
    return strfilterTags[0] == '\0' || zvlog_api_strCasestrNum(strfilterTags, tag, 1, 1) != 0;
}

// A 64-bit number in a message or report, rendered by the log library.
struct NumberText {
    explicit NumberText(int64_t value) { zvlog_innerapi_num2str(text, value); }
    explicit NumberText(uint64_t value) : NumberText(static_cast<int64_t>(value)) {}
    char text[32];
};

}  // namespace zv

// Writes one line; the arguments are evaluated only when it is written.
#define LOG(level, tag, format, ...)                                      \
    do {                                                                  \
        if (__builtin_expect(zv::log_enabled((level), (tag)), 0)) {       \
            LOG_WRITE((level), (tag), format __VA_OPT__(, ) __VA_ARGS__); \
        }                                                                 \
    } while (0)

// Writes one line that has already passed the level and tag tests.
#define LOG_WRITE(level, tag, format, ...)                                                   \
    do {                                                                                     \
        if (flag_printLineFunc) {                                                            \
            zvlog_innerapi_file("%s[%s][%s][%s %d]" format "\r\n", zvlog_innerapi_logTime(), \
                                strLoglevel_simple[level], tag, __func__,                    \
                                __LINE__ __VA_OPT__(, ) __VA_ARGS__);                        \
            if (flag_stdPrint)                                                               \
                printf("%s %s[%s][%s][%s %d]" format "\033[0m\r\n", zv_col[level],           \
                       zvlog_innerapi_logTime(), strLoglevel_simple[level], tag, __func__,   \
                       __LINE__ __VA_OPT__(, ) __VA_ARGS__);                                 \
        } else {                                                                             \
            zvlog_innerapi_file("%s[%s][%s]" format "\r\n", zvlog_innerapi_logTime(),        \
                                strLoglevel_simple[level], tag __VA_OPT__(, ) __VA_ARGS__);  \
            if (flag_stdPrint)                                                               \
                printf("%s %s[%s][%s]" format "\033[0m\r\n", zv_col[level],                  \
                       zvlog_innerapi_logTime(), strLoglevel_simple[level],                  \
                       tag __VA_OPT__(, ) __VA_ARGS__);                                      \
        }                                                                                    \
    } while (0)

// Writes one line when a per-topic debug switch is on.
#define LOG_IF(debug_switch, level, tag, format, ...)                         \
    do {                                                                      \
        if (debug_switch) LOG(level, tag, format __VA_OPT__(, ) __VA_ARGS__); \
    } while (0)
