/* SPDX-License-Identifier: MIT
 * A host in C with a log library of its own: it defines everything that zvlog.h declares, and the
 * linker takes nothing from ours. Shows the library's lines at level 5. */
#include <stdarg.h>
#include <stdio.h>

#include "bitStream.h"
#include "zvlog.h"

const char* strLoglevel_simple[] = {"fatal", "error", "warning", "info", "debug", "more", "all"};
char strfilterTags[256];
unsigned char flag_printLineFunc;
unsigned char flag_stdPrint;
static unsigned threshold = 5;

unsigned zvlog_api_getLoglevel(void) {
    return threshold;
}

const char* zvlog_innerapi_logTime(void) {
    return "host: ";
}

/* Every line of the library comes here, with "\r\n" at its end. */
void zvlog_innerapi_file(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vprintf(format, arguments);
    va_end(arguments);
}

/* The rest is asked for by the file tools, by hex dumps and by numbers in messages. */
int zvlog_api_init(int level, const char* dir, const char* file, int reserved) {
    (void)dir, (void)file, (void)reserved;
    zvlog_api_setLoglevel((unsigned)level);
    return 0;
}

void zvlog_api_deinit(void) {}

void zvlog_api_setLoglevel(unsigned level) {
    threshold = level;
}

int zvlog_api_strCasestrNum(const char* list, const char* word, int a, int b) {
    (void)list, (void)word, (void)a, (void)b;
    return 1;
}

void zvlog_innerapi_bufHex(const char* label, const void* data, int length, const char* function,
                           int line) {
    (void)data, (void)function, (void)line;
    zvlog_innerapi_file("%s: %d bytes\r\n", label, length);
}

char* zvlog_innerapi_num2str(char* buf, int64_t value) {
    snprintf(buf, 32, "%lld", (long long)value);
    return buf;
}

void av_log(void* context, int level, const char* format, ...) {
    (void)context, (void)level, (void)format;
}

int main(void) {
    bitStream_register_parser();
    return 0;
}
