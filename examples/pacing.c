/* SPDX-License-Identifier: MIT
 * A host in C that waits for the time at which things are due: the packets of a transport stream by
 * its PCR, and the frames of a source of its own by their time stamps. */
#include <stdint.h>
#include <stdio.h>
#include <unistd.h>

#include "bitStream.h"
#include "mpegts.h"
#include "zvcommon.h"

enum { PACKET = 188, PACKETS_A_DATAGRAM = 7, FRAMES = 26, FRAME_US = 40000 };

static long sent;

/* A server would send the datagram here. */
static void send_on(const unsigned char* datagram, size_t size) {
    (void)datagram;
    sent += (long)(size / PACKET);
}

static void pace_packets(FILE* file, const char* name) {
    void* context = NULL;
    ffurl_mpegts_parser.init(&context, name, NULL);
    if (!context) return;
    static unsigned char datagram[PACKETS_A_DATAGRAM * PACKET];
    size_t got;
    while ((got = fread(datagram, 1, sizeof datagram, file)) > 0) {
        if (ffurl_mpegts_parser.parse(context, datagram, (int)got, ZV_TS_PACE_PCR) < 0) break;
        send_on(datagram, got);
    }
    ffurl_mpegts_parser.deinit(&context);
}

/* Making a frame takes its own time, which is no part of the pace. */
static void make_frame(void) {
    usleep(FRAME_US / 8);
}

static void pace_frames(void) {
    RateEmu rate = {0};
    for (int frame = 1; frame <= FRAMES; ++frame) {
        make_frame();
        mpegts_api_rateEmuLong("camera", "frame", &rate, (int64_t)frame * FRAME_US, 0);
    }
}

static double seconds_since(uint64_t start_us) {
    return (double)(zvtime_api_upUs() - start_us) / 1e6;
}

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s FILE\n", argv[0]);
        return 2;
    }
    FILE* file = fopen(argv[1], "rb");
    if (!file) {
        perror(argv[1]);
        return 3;
    }
    uint64_t start = zvtime_api_upUs();
    pace_packets(file, argv[1]);
    printf("%ld packets in %.0f s\n", sent, seconds_since(start));
    fclose(file);

    start = zvtime_api_upUs();
    pace_frames();
    printf("%d frames in %.0f s\n", FRAMES, seconds_since(start));
    return 0;
}
