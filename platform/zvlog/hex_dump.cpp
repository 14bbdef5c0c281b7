// SPDX-License-Identifier: MIT
// Hex dumps, to the log file and the console. A dump takes the file's lock once, so that its lines
// stay together whatever other threads log.

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>

#include "zvlog.h"
#include "zvlog/formatted_text.h"
#include "zvlog/log_file.h"

namespace {

constexpr size_t kBytesPerLine = 16;
constexpr size_t kLineSize = 96;  // offset 8, hex 3 a byte, ASCII 1 a byte, separators, line end

// Where a dump goes: holds both locks for as long as it lives.
class Output {
  public:
    Output() : lock_(zvlog::log_file().lock()), echo_(flag_stdPrint != 0) {
        if (echo_) ::flockfile(stdout);
    }
    ~Output() {
        if (echo_) ::funlockfile(stdout);
    }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void write(const char* text, size_t length) {
        zvlog::log_file().write_locked(text, length);
        if (echo_) std::fwrite(text, 1, length, stdout);
    }

    ZVLOG_PRINTF(2, 3) void print(const char* format, ...) {
        va_list arguments;
        va_start(arguments, format);
        const zvlog::FormattedText line(format, arguments);
        va_end(arguments);
        write(line.text(), line.length());
    }

  private:
    std::unique_lock<std::mutex> lock_;
    bool echo_;
};

// "00000010  47 40 00 10 00 00 b0 0d  00 01 c5 00 00 00 01 f0  |G@..............|"
size_t render_line(char (&line)[kLineSize], size_t offset, const uint8_t* data, size_t count) {
    constexpr char kDigits[] = "0123456789abcdef";
    char* end = line + std::snprintf(line, kLineSize, "%08zx ", offset);
    for (size_t i = 0; i < kBytesPerLine; ++i) {
        if (i % (kBytesPerLine / 2) == 0) *end++ = ' ';
        *end++ = i < count ? kDigits[data[i] >> 4] : ' ';
        *end++ = i < count ? kDigits[data[i] & 15] : ' ';
        *end++ = ' ';
    }
    *end++ = ' ';
    *end++ = '|';
    for (size_t i = 0; i < count; ++i) {
        const bool printable = data[i] >= 0x20 && data[i] < 0x7F;
        *end++ = printable ? static_cast<char>(data[i]) : '.';
    }
    for (const char c : {'|', '\r', '\n'})
        *end++ = c;
    return static_cast<size_t>(end - line);
}

void print_label(Output& output, const char* label, int length, const char* function, int line) {
    const char* time = zvlog_innerapi_logTime();
    if (label == nullptr) label = "";
    if (function == nullptr) {
        output.print("%s[HEX][%s]%d bytes\r\n", time, label, length);
    } else {
        output.print("%s[HEX][%s][%s %d]%d bytes\r\n", time, label, function, line, length);
    }
}

}  // namespace

extern "C" void zvlog_innerapi_bufHex(const char* label, const void* data, int length,
                                      const char* function, int line) {
    if (zvlog_api_getLoglevel() == 0) return;
    if (flag_stdPrint == 0 && !zvlog::log_file().has_reader()) return;
    const int saved_errno = errno;
    {
        Output output;
        print_label(output, label, length, function, line);
        const auto* bytes = static_cast<const uint8_t*>(data);
        const size_t total = bytes == nullptr ? 0 : static_cast<size_t>(std::max(length, 0));
        char text[kLineSize];
        for (size_t offset = 0; offset < total; offset += kBytesPerLine) {
            const size_t count = std::min(kBytesPerLine, total - offset);
            output.write(text, render_line(text, offset, bytes + offset, count));
        }
    }
    errno = saved_errno;
}
