// SPDX-License-Identifier: MIT
// The stages that the parse loop and remapping offer each packet to. Each reads the packet's decoded
// header from the context and no byte but the packet's 188, and calls no other stage, except that the
// ES stage calls PES timing. flags is the low byte of the option word (ZV_TS_* of mpegts.h).
#pragma once

#include <cstdint>

#include "mpeg/mpegts/context.h"

extern "C" {

// stages/section.cpp: where a table's section starts.
// body  packet byte 4 onward, 184 bytes
// -> offset of the table_id byte from body; -1 when the packet starts no such table (reported)
int mpegts_innerapi_isTargstTable(const char* table_name, MPEGTSContext* ctx, const uint8_t* body,
                                  uint8_t table_id, uint8_t debug);

// -> 1 when the packet was an accepted or a repeated PAT
uint8_t mpegts_innerapi_filterPat(MPEGTSContext* ctx, const uint8_t* pkt, uint8_t flags);

// -> 1 when the packet was an accepted or a repeated PMT of a known programme. With ZV_TS_REMAP the
// first accepted PMT gets new_pid, new_program_number and a fresh CRC in place.
uint32_t mpegts_innerapi_filterPmt(MPEGTSContext* ctx, uint8_t* pkt, uint8_t flags,
                                   uint16_t new_pid, uint16_t new_program_number);

// -> 1 when the packet was gathered, completed the table, or was a repeat
uint32_t mpegts_innerapi_filterSdt(MPEGTSContext* ctx, const uint8_t* pkt, uint8_t flags);

// -> 1 when the packet carries a PCR. With ZV_TS_REMAP such a packet gets remapPid in place.
int8_t mpegts_innerapi_filterPcr(MPEGTSContext* ctx, uint8_t* pkt, uint8_t flags,
                                 uint16_t remapPid);

// isPcr      result of the PCR filter
// remapPids  new PIDs by position in the programme, used with ZV_TS_REMAP; null changes nothing
// -> 1 when the packet belongs to a known elementary stream
unsigned mpegts_innerapi_filterEs(MPEGTSContext* ctx, uint8_t* pkt, uint8_t flags, int8_t isPcr,
                                  const uint16_t* remapPids);

// payload  packet byte 4 onward, 184 bytes, adaptation field included
// pace     1: the stream's time stamps pace the caller
void mpegts_innerapi_filterPes(MPEGTSContext* ctx, MPEGTSStream* es, const uint8_t* payload,
                               uint8_t pace);

}  // extern "C"

// What a stage does once it is known whose packet it has. The parse loop knows that from the PID.
namespace zv {

// first  the first programme whose PMT has the packet's PID; otherwise like mpegts_innerapi_filterPmt
uint32_t take_pmt(MPEGTSContext& ctx, MPEGTSProgram& first, uint8_t* pkt, uint8_t flags,
                  uint16_t new_pid, uint16_t new_program_number);

// pkt carries a PCR of the programme.
void take_pcr(MPEGTSContext& ctx, MPEGTSProgram& program, const uint8_t* pkt, uint8_t flags);

// Continuity and PES timing of a packet of the stream, as flags ask for them.
void take_stream_packet(MPEGTSContext& ctx, MPEGTSStream& es, const uint8_t* pkt, uint8_t flags,
                        int8_t is_pcr);

}  // namespace zv
