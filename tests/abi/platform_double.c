/* SPDX-License-Identifier: MIT
 * A host's own log, common and protocol libraries in one file: every function that zvlog.h,
 * zvcommon.h and zvprotocol.h ask of a replacement, at its simplest. Tells on standard error, when
 * the program ends, how often the library called. */
#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "zvcommon.h"
#include "zvlog.h"
#include "zvprotocol.h"

static unsigned lines, blocks, crcs, schemes;

static void __attribute__((destructor)) tell(void) {
    fprintf(stderr, "double: lines %u blocks %u crcs %u schemes %u\n", lines, blocks, crcs,
            schemes);
}

const char* strLoglevel_simple[] = {"F", "E", "W", "I", "D", "V", "T"};
char strfilterTags[256];
unsigned char flag_printLineFunc, flag_stdPrint;
static unsigned threshold = 6;

int zvlog_api_init(int level, const char* dir, const char* file, int reserved) {
    (void)dir, (void)file, (void)reserved;
    threshold = level < 0 ? 0 : (unsigned)level;
    return 0;
}
void zvlog_api_deinit(void) {}
unsigned zvlog_api_getLoglevel(void) {
    return threshold;
}
void zvlog_api_setLoglevel(unsigned level) {
    threshold = level;
}
int zvlog_api_strCasestrNum(const char* list, const char* word, int a, int b) {
    (void)a, (void)b;
    return zvstr_api_isCasestr(list, word);
}
void zvlog_innerapi_file(const char* format, ...) {
    lines += format != NULL;
}
const char* zvlog_innerapi_logTime(void) {
    return "now";
}
void zvlog_innerapi_bufHex(const char* label, const void* data, int length, const char* function,
                           int line) {
    (void)label, (void)data, (void)length, (void)function, (void)line;
    ++lines;
}
char* zvlog_innerapi_num2str(char* buf, int64_t value) {
    if (buf) snprintf(buf, 32, "%lld", (long long)value);
    return buf;
}
void av_log(void* context, int level, const char* format, ...) {
    (void)context, (void)level;
    lines += format != NULL;
}

int zvmem_api_init(int reserved) {
    (void)reserved;
    return 0;
}
void zvmem_api_deinit(void) {}
void* zvmem_api_malloc(size_t size, const char* tag, const char* sub_tag, const char* file,
                       int line) {
    (void)tag, (void)sub_tag, (void)file, (void)line;
    ++blocks;
    return malloc(size ? size : 1);
}
void zvmem_api_free(void* slot) {
    void* block = NULL;
    if (!slot) return;
    memcpy(&block, slot, sizeof block);
    free(block);
    memset(slot, 0, sizeof block);
}
uint64_t zvtime_api_upUs(void) {
    struct timespec now;
    timespec_get(&now, TIME_UTC);
    return (uint64_t)now.tv_sec * 1000000u + (uint64_t)now.tv_nsec / 1000u;
}
uint32_t zvcrc_api_CRC32(const uint8_t* data, int length) {
    uint32_t crc = 0xFFFFFFFFu;
    ++crcs;
    for (int bit = 0; data && bit < length * 8; ++bit) {
        const uint32_t in = (uint32_t)(data[bit / 8] >> (7 - bit % 8)) & 1u;
        crc = (crc << 1) ^ ((crc >> 31 ^ in) ? 0x04C11DB7u : 0u);
    }
    return crc;
}
uint8_t zvstr_api_isCasestr(const char* text, const char* word) {
    for (; text && word; ++text) {
        size_t at = 0;
        while (word[at] && tolower((unsigned char)text[at]) == tolower((unsigned char)word[at]))
            ++at;
        if (!word[at]) return 1;
        if (!*text) return 0;
    }
    return 0;
}
int zvnet_api_isMulticast(const char* host) {
    return host && strncmp(host, "239.", 4) == 0;
}
int zvt_innerapi_bufOffset(uint8_t* buf, int count, int span) {
    if (!buf || count <= 0) return span;
    if (count >= span) return 0;
    memmove(buf, buf + count, (size_t)(span - count));
    return span - count;
}

/* A protocol library without any protocol: every source is unknown. */
int zvptc_api_init(void) {
    return 0;
}
int zvptc_api_register(void) {
    return 0;
}
void zvptc_api_deinit(void) {}
const ZvptcHandler* zvptc_api_matchByName(const char* scheme) {
    schemes += scheme != NULL;
    return NULL;
}
const ZvptcHandler* zvptc_api_matchByPtcindex(int index) {
    schemes += index >= 0;
    return NULL;
}
int zvptc_api_matchByUrlAndIndex(const char* url, int index) {
    return url && index < 0;
}
int zvptc_api_getPtcindex(const char* url, int a3, uint8_t a4) {
    (void)a3, (void)a4;
    schemes += url != NULL;
    return -1;
}
int zvptc_api_urlSplit_urlctt(ZvptcUrlContext* context) {
    if (context) context->ptc_index = -1;
    return context ? 0 : -1;
}
int zvptc_api_urlSplit_urlinfo(ZvptcUrlInfo* info, const char* url) {
    if (info) memset(info, 0, sizeof *info);
    return info && url ? 0 : -1;
}
