// SPDX-License-Identifier: MIT
// Defines every function and object of zvlog.h, so that nothing is taken from the real library.
#include "parts/log_double.h"

#include <cstdarg>

#include "mpeg/mpegts/context.h"
#include "zvlog.h"
#include "zvlog_ext.h"

namespace {

constexpr uint64_t kDigestStart = 0xCBF29CE484222325ULL;  // FNV-1a
constexpr uint64_t kDigestPrime = 0x100000001B3ULL;
constexpr unsigned kEverything = 6;

unsigned log_level = 0;
uint64_t digest = kDigestStart;

void add_to_digest(const void* data, size_t size) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    for (size_t i = 0; i < size; ++i)
        digest = (digest ^ bytes[i]) * kDigestPrime;
}

void add_formatted(const char* format, va_list arguments) {
    static char line[1 << 16];
    const int length = vsnprintf(line, sizeof line, format, arguments);
    fuzz::require(length >= 0, "a log line can be formatted");
    add_to_digest(line, std::min(static_cast<size_t>(length), sizeof line - 1));
}

}  // namespace

namespace fuzz {

void set_log(ByteSource& in) {
    const uint8_t how = in.u8();
    const uint16_t switches = in.u16();
    log_level = how & 0x80 ? kEverything : 0;
    flag_printLineFunc = how & 1;
    // Not DBG_CC: it ends the process on purpose.
    uint8_t* const all[] = {&DBG_PAT, &DBG_SDT, &DBG_PMT, &DBG_PESHEAD,    &DBG_COMMON,
                            &DBG_PCR, &DBG_AV,  &DBG_PES, &DBG_PES_PTSDTS, &DBG_FIND_INFO};
    for (size_t i = 0; i < std::size(all); ++i)
        *all[i] = (switches >> i) & 1;
    DBG_TSHEAD_MODE = static_cast<uint8_t>(switches >> 14);
    reset_log_digest();
}

uint64_t log_digest() {
    return digest;
}
void reset_log_digest() {
    digest = kDigestStart;
}

}  // namespace fuzz

extern "C" {

const char* strLoglevel_simple[] = {"FATAL", "ERROR", "WARN", "INFO", "DEBUG", "VERBOSE", "TRACE"};
char strfilterTags[256] = "";
unsigned char flag_printLineFunc = 0;
unsigned char flag_stdPrint = 0;

int zvlog_api_init(int level, const char*, const char*, int) {
    log_level = static_cast<unsigned>(level);
    return 0;
}
void zvlog_ext_setObserver(ZvlogObserver, void*) {}
void zvlog_api_deinit(void) {}
unsigned zvlog_api_getLoglevel(void) {
    return log_level;
}
void zvlog_api_setLoglevel(unsigned level) {
    log_level = level;
}

int zvlog_api_strCasestrNum(const char* list, const char* word, int, int) {
    int found = 0;
    for (const char* at = list; (at = strcasestr(at, word)) != nullptr; at += strlen(word))
        ++found;
    return found;
}

void zvlog_innerapi_file(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    add_formatted(format, arguments);
    va_end(arguments);
}

const char* zvlog_innerapi_logTime(void) {
    return "2000-01-01 00:00:00.000";
}

void zvlog_innerapi_bufHex(const char* label, const void* data, int length, const char*, int) {
    add_to_digest(label, strlen(label));
    if (length > 0) add_to_digest(data, static_cast<size_t>(length));
}

char* zvlog_innerapi_num2str(char* buf, int64_t value) {
    snprintf(buf, 32, "%lld", static_cast<long long>(value));
    return buf;
}

void av_log(void*, int, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    add_formatted(format, arguments);
    va_end(arguments);
}

}  // extern "C"
