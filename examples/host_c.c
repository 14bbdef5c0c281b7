/* SPDX-License-Identifier: MIT
 * A host in C: describes the transport stream in a file of whole 188-byte packets. */
#include <stdio.h>
#include <stdlib.h>

#include "bitStream.h"
#include "mpegts.h"

enum { CHUNK = 1024 * 188 };

static void print_report(const AVParser* resolver, void* context) {
    StreamInfo* info = calloc(1, sizeof *info);
    char* text = calloc(1, ZV_TS_STREAM_INFO_MAX);
    if (info && text && resolver->updateInfo(context, info) == 1 &&
        mpegts_api_getStreamInfo(info, text, 1))
        puts(text);
    else
        puts("not all tables were found");
    free(text);
    free(info);
}

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s FILE\n", argv[0]);
        return 2;
    }
    bitStream_register_parser();
    const AVParser* resolver = ffurl_match_resolver("mpegts");
    FILE* file = fopen(argv[1], "rb");
    if (!resolver || !file) {
        perror(argv[1]);
        return 3;
    }

    void* context = NULL;
    resolver->init(&context, argv[1], NULL);
    if (!context) return 1;

    static unsigned char chunk[CHUNK];
    size_t got;
    while ((got = fread(chunk, 1, sizeof chunk, file)) > 0) {
        if (resolver->parse(context, chunk, (int)got, ZV_TS_CHECK_CC) < 0) {
            fprintf(stderr, "%s: a packet has no sync byte\n", argv[1]);
            break;
        }
    }
    print_report(resolver, context);

    resolver->deinit(&context);
    fclose(file);
    return 0;
}
