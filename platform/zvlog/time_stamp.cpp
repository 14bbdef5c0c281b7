// SPDX-License-Identifier: MIT
// The time stamp of a log line. Each thread has its own texts, so no lock is taken.

#include <array>
#include <ctime>

#include "zvlog.h"

namespace {

constexpr size_t kResultsInUse = 4;  // texts of one thread that are valid side by side
constexpr size_t kTextSize = 48;     // more than any year a time_t can hold asks for
constexpr long kNanosecondsPerMillisecond = 1'000'000;

struct Stamps {
    std::array<std::array<char, kTextSize>, kResultsInUse> texts;
    size_t next = 0;
    // Date and time to the second, kept because the conversion to local time costs far more than
    // the rest and bursts of lines share the second.
    std::array<char, kTextSize> prefix;
    size_t prefix_length = 0;
    std::time_t second = 0;
};

void render_prefix(Stamps& stamps, std::time_t second) {
    if (stamps.prefix_length != 0 && stamps.second == second) return;
    std::tm local{};
    ::localtime_r(&second, &local);
    stamps.prefix_length =
        std::strftime(stamps.prefix.data(), stamps.prefix.size(), "%Y-%m-%d %H:%M:%S", &local);
    stamps.second = second;
}

}  // namespace

extern "C" const char* zvlog_innerapi_logTime(void) {
    thread_local Stamps stamps{};
    std::timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    render_prefix(stamps, now.tv_sec);

    char* text = stamps.texts[stamps.next].data();
    stamps.next = (stamps.next + 1) % kResultsInUse;
    const auto milliseconds = static_cast<int>(now.tv_nsec / kNanosecondsPerMillisecond);
    char* end = text;
    for (size_t i = 0; i < stamps.prefix_length; ++i)
        *end++ = stamps.prefix[i];
    *end++ = '.';
    *end++ = static_cast<char>('0' + milliseconds / 100);
    *end++ = static_cast<char>('0' + milliseconds / 10 % 10);
    *end++ = static_cast<char>('0' + milliseconds % 10);
    *end = '\0';
    return text;
}
