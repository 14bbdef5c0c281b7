/* SPDX-License-Identifier: MIT
 * A host in C: surveys a transport stream of any kind, tells what happens as it comes, then lists
 * services, programmes, streams and damage. */
#include <inttypes.h>
#include <stdio.h>

#include "zvsurvey.h"

/* Called in the middle of zvsurvey_feed and zvsurvey_finish. */
static void print_event(void* arg, const ZvSurveyEvent* event) {
    FILE* out = arg;
    fprintf(out, "byte %" PRIu64, event->offset);
    if (event->pid != ZV_SURVEY_NONE) fprintf(out, ", PID 0x%x", (unsigned)event->pid);
    fprintf(out, ": %s: %s\n", event->kind, event->message);
}

static void print_streams(const ZvSurvey* survey, size_t program) {
    ZvSurveyStream stream;
    for (size_t i = 0; zvsurvey_stream(survey, program, i, &stream, sizeof stream); ++i) {
        printf("  0x%x %s %s", stream.pid, stream.kind, stream.codec ? stream.codec : "unknown");
        if (stream.languages[0]) printf(" (%s)", stream.languages);
        puts("");
    }
}

static void print_programs(const ZvSurvey* survey) {
    ZvSurveyService service;
    for (size_t i = 0; zvsurvey_service(survey, i, &service, sizeof service); ++i)
        printf("service %u \"%s\", %s\n", service.service_id, service.name, service.type_name);

    ZvSurveyProgram program;
    for (size_t i = 0; zvsurvey_program(survey, i, &program, sizeof program); ++i) {
        printf("program %u, PMT 0x%x", program.program_number, program.pmt_pid);
        if (program.pcr_pid != ZV_SURVEY_NONE) printf(", PCR 0x%x", (unsigned)program.pcr_pid);
        puts("");
        print_streams(survey, i);
    }
}

static void print_damage(const ZvSurvey* survey) {
    ZvSurveyPid pid;
    for (size_t i = 0; zvsurvey_pid(survey, i, &pid, sizeof pid); ++i) {
        if (pid.continuity_errors == 0 && pid.transport_errors == 0) continue;
        printf("PID 0x%x: continuity errors %" PRIu64 ", lost %" PRIu64
               ", transport errors %" PRIu64 "\n",
               pid.pid, pid.continuity_errors, pid.packets_lost, pid.transport_errors);
    }
    ZvSurveySyncLoss loss;
    for (size_t i = 0; zvsurvey_sync_loss(survey, i, &loss, sizeof loss); ++i)
        printf("sync lost at byte %" PRIu64 " for %" PRIu64 " bytes\n", loss.offset,
               loss.skipped_bytes);
    ZvSurveyCrcError error;
    for (size_t i = 0; zvsurvey_crc_error(survey, i, &error, sizeof error); ++i)
        printf("wrong CRC at byte %" PRIu64 ", PID 0x%x, table 0x%02x\n", error.offset, error.pid,
               error.table_id);
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
    const ZvSurveyOptions options = {
        .size = sizeof options, .arg = stdout, .on_event = print_event};
    ZvSurvey* survey = zvsurvey_new(&options);

    static unsigned char chunk[1 << 18];
    int short_of_memory = !survey;
    size_t got;
    while (!short_of_memory && (got = fread(chunk, 1, sizeof chunk, file)) > 0)
        short_of_memory = zvsurvey_feed(survey, chunk, got) != 0;
    zvsurvey_finish(survey);

    ZvSurveyTotals totals;
    if (zvsurvey_totals(survey, &totals, sizeof totals)) {
        printf("%" PRIu32 "-byte packets: %" PRIu64 " in %" PRIu64 " bytes\n", totals.packet_size,
               totals.packets, totals.bytes);
        print_programs(survey);
        print_damage(survey);
    }
    if (short_of_memory) fputs("out of memory: this is not the whole stream\n", stderr);
    zvsurvey_free(survey);
    fclose(file);
    return short_of_memory;
}
