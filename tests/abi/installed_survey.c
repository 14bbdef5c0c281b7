/* SPDX-License-Identifier: MIT
 * A host of the installed survey in C11: surveys a few null packets after some noise, in two calls.
 * Prints what a host would check. */
#include <stdio.h>
#include <string.h>

#include "zvsurvey.h"

enum { PACKET = 188, PACKETS = 8, NOISE = 3, CUT = 100 };

static void add_run(void* arg, const uint8_t* packets, size_t packet_size, size_t count,
                    uint64_t offset) {
    if (packets[0] == 0x47 && packet_size == PACKET && offset >= NOISE) *(size_t*)arg += count;
}

static int add_size(void* arg, const char* text, size_t size) {
    if (text) *(size_t*)arg += size;
    return 0;
}

int main(void) {
    static uint8_t stream[NOISE + PACKETS * PACKET];
    for (size_t i = 0; i < PACKETS; ++i)
        memcpy(stream + NOISE + i * PACKET, "\x47\x1f\xff\x10", 4);

    size_t handed_on = 0, json = 0;
    static ZvSurveyOptions options;
    options.size = sizeof options;
    options.arg = &handed_on;
    options.on_packets = add_run;
    ZvSurvey* survey = zvsurvey_new(&options);
    zvsurvey_feed(survey, stream, CUT);
    zvsurvey_feed(survey, stream + CUT, sizeof stream - CUT);
    zvsurvey_finish(survey);

    ZvSurveyTotals totals;
    const int known = zvsurvey_totals(survey, &totals, sizeof totals);
    const int written = zvsurvey_json(survey, add_size, &json);
    zvsurvey_free(survey);
    if (!known || written != 0) return 1;
    printf("survey packets %d handed on %d skipped %d json %d\n", (int)totals.packets,
           (int)handed_on, (int)totals.skipped_bytes, json > 100);
    return 0;
}
