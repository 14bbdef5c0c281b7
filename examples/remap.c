/* SPDX-License-Identifier: MIT
 * A host in C: copies a single-programme file of whole 188-byte packets under new identifiers. It
 * writes tables of its own, because remapping takes the PAT out and leaves the PIDs that the PMT
 * lists as they are. */
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "bitStream.h"
#include "mpegts.h"

enum { PACKET = 188, SDT_PID = 0x11, NEW_NUMBER = 7, NEW_PMT = 0x1F00 };

/* Remapping ORs the high five bits of a new PID onto the old ones, so a new PID keeps those. */
static uint16_t moved(uint16_t pid) {
    return (uint16_t)(pid | 0x1000);
}

static int pid_of(const uint8_t* packet) {
    return (packet[1] & 0x1F) << 8 | packet[2];
}

/* Feeds the file until all tables are known. */
static int learn(FILE* in, void* context, StreamInfo* info) {
    uint8_t packet[PACKET];
    while (fread(packet, 1, PACKET, in) == PACKET) {
        if (ffurl_mpegts_parser.parse(context, packet, PACKET, ZV_TS_STOP_KNOWN) < 0) return 0;
        if (ffurl_mpegts_parser.updateInfo(context, info) == 1) return info->program_count == 1;
    }
    return 0;
}

static void plan(const StreamInfoProgram* program, RemapTarget* target, MPEGTSStream* streams) {
    target->program_number = NEW_NUMBER;
    target->pmt_pid = NEW_PMT;
    target->pcr_pid = moved(program->pcr_pid);
    for (int i = 0; i < program->es_count; ++i) {
        const StreamInfoEs* from = &program->streams[i];
        target->pid_es[i] = moved(from->pid);
        streams[i].pid = target->pid_es[i];
        streams[i].stream_type = from->stream_type;
        streams[i].es_info_len = from->es_info_len;
        memcpy(streams[i].es_info, from->es_info, sizeof from->es_info);
    }
}

/* A builder gives continuity counter 0; the host counts. */
static void put_table(FILE* out, uint8_t* packet, unsigned counter) {
    packet[3] = (uint8_t)((packet[3] & 0xF0) | (counter & 0x0F));
    fwrite(packet, 1, PACKET, out);
}

static void copy(FILE* in, FILE* out, MPEGTSContext* context, const StreamInfoProgram* program) {
    RemapTarget target = {0};
    MPEGTSStream streams[ZV_TS_MAX_STREAMS] = {0};
    plan(program, &target, streams);

    uint8_t packet[PACKET], pat[PACKET], pmt[PACKET];
    mpegts_api_buildPat(pat, 1, PACKET, 1, &target.program_number, &target.pmt_pid);
    mpegts_api_buildPmtEs(pmt, 1, target.program_number, target.pmt_pid, target.pcr_pid,
                          program->es_count, streams, PACKET);
    unsigned counter = 0;
    while (fread(packet, 1, PACKET, in) == PACKET) {
        const int pid = pid_of(packet);
        if (pid == 0) {
            put_table(out, pat, counter);
            put_table(out, pmt, counter++);
        } else if (pid != program->pmt_pid && pid != SDT_PID) {
            mpegts_api_remap(&target, context, packet, PACKET);
            fwrite(packet, 1, PACKET, out);
        }
    }
}

int main(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: %s IN OUT\n", argv[0]);
        return 2;
    }
    FILE* in = fopen(argv[1], "rb");
    FILE* out = in ? fopen(argv[2], "wb") : NULL;
    if (!out) {
        perror(in ? argv[2] : argv[1]);
        return 3;
    }
    static StreamInfo info;
    void* context = NULL;
    ffurl_mpegts_parser.init(&context, argv[1], NULL);
    if (!context) return 1;
    const int known = learn(in, context, &info);
    rewind(in);
    if (known)
        copy(in, out, context, &info.programs[0]);
    else
        fprintf(stderr, "%s: not one programme with all its tables\n", argv[1]);
    ffurl_mpegts_parser.deinit(&context);
    fclose(in);
    const int written = !ferror(out);
    return fclose(out) == 0 && written && known ? 0 : 1;
}
