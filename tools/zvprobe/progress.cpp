// SPDX-License-Identifier: MIT
// Implementation of progress.h.
#include "progress.h"

#include <algorithm>
#include <cstdio>

namespace zvprobe {
namespace {

using namespace std::chrono_literals;

// Short work needs no bar, and a bar that is drawn too often costs more than the work.
constexpr auto kPatience = 500ms;
constexpr auto kInterval = 100ms;
constexpr int kWidth = 40;

}  // namespace

Progress::Progress(uint64_t total, bool enabled)
    : total_(total), enabled_(enabled && total > 0), due_(started_ + kPatience) {}

Progress::~Progress() {
    if (drawn_) std::fputs("\r\033[K", stderr);
}

void Progress::show(uint64_t bytes) {
    if (!enabled_) return;
    const auto now = Clock::now();
    if (now < due_) return;
    due_ = now + kInterval;
    drawn_ = true;
    const double seconds = std::chrono::duration<double>(now - started_).count();
    const double done = std::min(1.0, static_cast<double>(bytes) / static_cast<double>(total_));
    const double left = done > 0 ? seconds / done - seconds : 0;
    const int filled = static_cast<int>(done * kWidth);
    std::fprintf(stderr, "\r[%-*.*s] %3.0f%%  %.0f MB/s  %.0f s left\033[K", kWidth, filled,
                 "########################################", done * 100,
                 static_cast<double>(bytes) / seconds / 1e6, left);
}

}  // namespace zvprobe
