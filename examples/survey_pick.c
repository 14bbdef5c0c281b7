/* SPDX-License-Identifier: MIT
 * A host in C that works on the survey's packets: copies those of some PIDs from standard input to
 * standard output, 188 bytes each, whatever stands before, between and after them there. */
#include <stdio.h>
#include <stdlib.h>

#include "zvsurvey.h"

enum { PACKET = 188, PIDS = 8192 };

static unsigned char wanted[PIDS];

static void copy_wanted(void* arg, const uint8_t* packets, size_t packet_size, size_t count,
                        uint64_t offset) {
    (void)offset;
    for (size_t i = 0; i < count; ++i) {
        const uint8_t* packet = packets + i * packet_size;
        const unsigned pid = (packet[1] & 0x1fu) << 8 | packet[2];
        if (wanted[pid]) fwrite(packet, 1, PACKET, (FILE*)arg);
    }
}

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i)
        wanted[strtoul(argv[i], NULL, 0) % PIDS] = 1;

    const ZvSurveyOptions options = {
        .size = sizeof options, .arg = stdout, .on_packets = copy_wanted};
    ZvSurvey* survey = zvsurvey_new(&options);
    unsigned char chunk[4096];
    size_t got;
    int failed = !survey;
    while (!failed && (got = fread(chunk, 1, sizeof chunk, stdin)) > 0)
        failed = zvsurvey_feed(survey, chunk, got) != 0;
    zvsurvey_finish(survey);
    zvsurvey_free(survey);
    return failed || fflush(stdout) != 0;
}
