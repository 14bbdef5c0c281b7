// SPDX-License-Identifier: MIT
// Implementation of progress.h.
#include "render/progress.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>

#include "base/printable.h"

namespace zvprobe {
namespace {

using namespace std::chrono_literals;

// Short work needs no bar, and a bar that is drawn too often costs more than the work.
constexpr auto kPatience = 500ms;
constexpr auto kInterval = 100ms;
constexpr int kWidth = 40;

std::atomic<bool> line_stands = false;

// -> "1:02:03", "2:03"
std::string clock_text(double seconds) {
    const auto whole = static_cast<unsigned long>(std::lround(std::min(seconds, 359'999.0)));
    char text[32];
    if (whole < 3600)
        std::snprintf(text, sizeof text, "%lu:%02lu", whole / 60, whole % 60);
    else
        std::snprintf(text, sizeof text, "%lu:%02lu:%02lu", whole / 3600, whole / 60 % 60,
                      whole % 60);
    return text;
}

}  // namespace

Progress::Progress(uint64_t total, bool enabled)
    : total_(total), enabled_(enabled && total > 0), due_(started_ + kPatience) {}

Progress::~Progress() {
    wipe_progress();
}

void Progress::show(uint64_t bytes) {
    if (!enabled_) return;
    const auto now = Clock::now();
    if (now < due_) return;
    due_ = now + kInterval;
    line_stands = true;
    const double seconds = std::chrono::duration<double>(now - started_).count();
    const double done = std::min(1.0, static_cast<double>(bytes) / static_cast<double>(total_));
    const double left = done > 0 ? seconds / done - seconds : 0;
    const int filled = static_cast<int>(done * kWidth);
    std::fprintf(stderr, "\r[%-*.*s] %3.0f%%  %.0f MB/s  %s left\033[K", kWidth, filled,
                 "########################################", done * 100,
                 static_cast<double>(bytes) / seconds / 1e6, clock_text(left).c_str());
}

void wipe_progress() {
    if (line_stands.exchange(false)) std::fputs("\r\033[K", stderr);
}

void complain(const std::string& name, const std::string& message, Gravity gravity) {
    wipe_progress();
    log_line(gravity, (name.empty() ? "\"\"" : printable(name)) + ": " + message);
}

}  // namespace zvprobe
