// SPDX-License-Identifier: MIT
// Implementation of log_line.h.
#include "render/log_line.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>

namespace zvprobe {
namespace {

// The variable is inherited by whatever a service starts, whose standard error may lead elsewhere.
bool journal_reads() {
    const char* const stream = std::getenv("JOURNAL_STREAM");
    struct stat status {};
    if (stream == nullptr || fstat(STDERR_FILENO, &status) != 0) return false;
    return stream == std::to_string(status.st_dev) + ':' + std::to_string(status.st_ino);
}

std::string begin_of_line(Gravity gravity) {
    static const bool marked = journal_reads();
    return marked ? '<' + std::to_string(static_cast<int>(gravity)) + '>' : "zvprobe: ";
}

}  // namespace

void log_line(Gravity gravity, const std::string& text) {
    std::cerr << begin_of_line(gravity) + text + '\n';
}

}  // namespace zvprobe
