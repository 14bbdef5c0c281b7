// SPDX-License-Identifier: MIT
// Opening, closing and feeding the log: the calls a host makes. The file itself is log_file.h's.

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "zvlog.h"
#include "zvlog/formatted_text.h"
#include "zvlog/log_file.h"
#include "zvlog_ext.h"

extern "C" {

int zvlog_api_init(int level, const char* dir, const char* file, int /*reserved*/) {
    zvlog_api_setLoglevel(static_cast<unsigned>(std::max(level, 0)));
    if (file == nullptr || *file == '\0') {
        zvlog::log_file().close();
        flag_stdPrint = 1;
        return 0;
    }
    return zvlog::log_file().open(dir, file) ? 0 : -1;
}

void zvlog_api_deinit(void) {
    zvlog::log_file().close();
}

// Keeps errno: callers log while they report a failure.
void zvlog_innerapi_file(const char* format, ...) {
    if (!zvlog::log_file().has_reader()) return;
    const int saved_errno = errno;
    va_list arguments;
    va_start(arguments, format);
    const zvlog::FormattedText message(format, arguments);
    va_end(arguments);
    zvlog::log_file().write(message.text(), message.length());
    errno = saved_errno;
}

void zvlog_ext_setRotation(uint64_t max_bytes, unsigned generations) {
    zvlog::log_file().set_rotation({.max_bytes = max_bytes, .generations = generations});
}

void zvlog_ext_setObserver(ZvlogObserver observer, void* user) {
    zvlog::log_file().set_observer(observer, user);
}

}  // extern "C"
