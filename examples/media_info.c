/* SPDX-License-Identifier: MIT
 * A host in C: describes FLV or MPEG audio from any source that the protocol library can open. */
#include <errno.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "flv.h"
#include "mp3.h"
#include "zvprotocol.h"

enum { FLV_START = ZV_FLV_FILE_HEADER_SIZE + ZV_FLV_PREVIOUS_TAG_SIZE };

static ZvptcUrlContext source;
static const ZvptcHandler* handler;

static int open_source(const char* url) {
    errno = ENAMETOOLONG;
    if (strlen(url) >= sizeof source.url) return 0;
    errno = EPROTONOSUPPORT; /* unless a call below says more */
    strcpy(source.url, url);
    if (zvptc_api_urlSplit_urlctt(&source) < 0) return 0;
    handler = zvptc_api_matchByName(source.protocol);
    return handler && handler->open(&source) == 0;
}

static int read_exactly(uint8_t* to, uint32_t count) {
    return handler->read(&source, to, (int)count) == (int)count;
}

static void describe_flv(void) {
    static uint8_t tag[1 << 20];
    FLVProbe probe = {0};
    while (read_exactly(tag, ZV_FLV_TAG_HEADER_SIZE)) {
        const uint32_t body = (uint32_t)tag[1] << 16 | (uint32_t)tag[2] << 8 | tag[3];
        const uint32_t after_header = body + ZV_FLV_PREVIOUS_TAG_SIZE;
        const uint32_t size = ZV_FLV_TAG_HEADER_SIZE + after_header;
        if (size > sizeof tag || !read_exactly(tag + ZV_FLV_TAG_HEADER_SIZE, after_header)) break;
        if (!flv_api_check(&probe, tag, size)) break;
    }
    char text[ZV_FLV_INFO_MAX] = "";
    flv_api_getInfo(&probe, text);
    puts(text);
}

static void describe_mpeg_audio(const uint8_t* head) {
    MP3HeaderInfo info = {0};
    char text[sizeof "MPEG audio" + ZV_MP3_INFO_MAX] = "MPEG audio";
    if (mp3_api_check(&info, head, ZV_MP3_HEADER_SIZE))
        puts(mp3_api_getInfo(&info, text));
    else
        puts("neither FLV nor MPEG audio");
}

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s URL\n", argv[0]);
        return 2;
    }
    uint8_t head[FLV_START] = {0};
    if (!open_source(argv[1]) || handler->read(&source, head, sizeof head) < 0) {
        perror(argv[1]);
        return 3;
    }
    if (memcmp(head, "FLV", 3) == 0)
        describe_flv();
    else
        describe_mpeg_audio(head);
    return handler->close(&source) == 0 ? 0 : 1;
}
