// SPDX-License-Identifier: MIT
// Single tables for their log lines: one through a fresh context that is made to wait for it, and the
// self test, which builds tables of every kind and reads them.
#include <cstring>

#include "bitStream/log.h"
#include "mpeg/mpegts/context.h"
#include "mpegts.h"

namespace {

constexpr uint16_t kPmtPid = 0x142;
constexpr uint16_t kPcrPid = 0x100;
using TablePacket = uint8_t[1024];

// A context that waits for the tables of so many programmes.
MPEGTSContext context_with_programs(uint16_t count) {
    MPEGTSContext context;
    memset(static_cast<void*>(&context), 0, sizeof context);
    context.totalnum_program = count;
    return context;
}

void announce(const char* title) {
    LOG(zv::kLogInfo, "MPEGTS", "%s", title);
}

void test_pat(uint8_t* packet, uint8_t afc, uint16_t count) {
    constexpr uint16_t kNumbers[] = {1, 2, 3};
    constexpr uint16_t kPids[] = {kPmtPid, kPmtPid + 1, kPmtPid + 2};
    mpegts_api_buildPat(packet, afc, zv::kTsPacketSize, count, kNumbers, kPids);
    mpegts_api_parsePat(packet, zv::kTsPacketSize);
}

void test_pmt(uint8_t* packet, uint8_t afc) {
    MPEGTSStream streams[2];
    memset(streams, 0, sizeof streams);
    streams[0].pid = 0x101;
    streams[0].stream_type = 0x10;
    streams[1].pid = 0x102;
    streams[1].stream_type = 0x11;
    mpegts_api_buildPmtEs(packet, afc, 1, kPmtPid, kPcrPid, 2, streams, zv::kTsPacketSize);
    mpegts_api_parsePmt(packet, kPmtPid, zv::kTsPacketSize);
}

void test_sdt(uint8_t* packet, uint8_t afc) {
    mpegts_api_buildSdt(packet, afc, 1, "ServiceProvider", "ServiceName", zv::kTsPacketSize);
    mpegts_api_parseSdt(packet, zv::kTsPacketSize);
}

}  // namespace

int mpegts_api_parsePat(const uint8_t* buffer, int length) {
    MPEGTSContext context = context_with_programs(0);
    return mpegts_parse(&context, buffer, length, 0);
}

int mpegts_api_parseSdt(const uint8_t* buffer, int length) {
    MPEGTSContext context = context_with_programs(1);
    return mpegts_parse(&context, buffer, length, 0);
}

int mpegts_api_parsePmt(const uint8_t* buffer, uint16_t pmt_pid, int length) {
    MPEGTSContext context = context_with_programs(1);
    context.has_pat = 1;
    context.program[0].pmt_pid = pmt_pid;
    return mpegts_parse(&context, buffer, length, 0);
}

void mpegts_api_tsApiTest(int log_level) {
    zvlog_api_init(log_level, zv::kLogDirectory, "tsApiTest.txt", 0);
    DBG_PAT = DBG_SDT = DBG_PMT = DBG_PCR = 1;
    TablePacket pat = {}, pmt = {}, sdt = {};
    announce("PAT表的构建和解析测试1");
    test_pat(pat, zv::kAfcBoth, 1);
    announce("PAT表的构建和解析测试2");
    test_pat(pat, zv::kAfcPayloadOnly, 3);
    announce("PMT表的构建和解析测试1");
    test_pmt(pmt, zv::kAfcPayloadOnly);
    announce("PMT表的构建和解析测试2");
    test_pmt(pmt, zv::kAfcBoth);
    announce("SDT表的构建和解析测试1");
    test_sdt(sdt, zv::kAfcPayloadOnly);
    announce("SDT表的构建和解析测试2");
    test_sdt(sdt, zv::kAfcBoth);
    zvlog_api_deinit();
}
