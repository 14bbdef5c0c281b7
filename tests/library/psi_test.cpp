// SPDX-License-Identifier: MIT
// The table filters, packet by packet, each packet in front of an unreadable page.
#include <gtest/gtest.h>

#include "mpeg/mpegts/filters.h"
#include "support/analyser.h"
#include "support/guarded_buffer.h"
#include "support/log_recorder.h"
#include "support/manual_clock.h"

namespace {

using namespace zvtest;

class Tables : public testing::Test {
  protected:
    // Offers a packet to one filter. -> its result
    uint32_t pat_filter(const TsPacket& packet, uint8_t flags = 0) {
        return mpegts_innerapi_filterPat(ts.get(), place(packet), flags);
    }
    uint32_t pmt_filter(const TsPacket& packet, uint8_t flags = 0, uint16_t new_pid = 0,
                        uint16_t new_number = 0) {
        return mpegts_innerapi_filterPmt(ts.get(), place(packet), flags, new_pid, new_number);
    }
    uint32_t sdt_filter(const TsPacket& packet, uint8_t flags = 0) {
        return mpegts_innerapi_filterSdt(ts.get(), place(packet), flags);
    }
    static TsPacket pmt_packet(const Bytes& section) { return TsPacket(kPmtPid).section(section); }
    // -> the filter's result for each packet of a section that begins after a pointer field
    std::vector<uint32_t> gather_sdt(const Bytes& section) {
        Bytes rest{0};
        append(rest, section);
        std::vector<uint32_t> results;
        for (bool first = true; !rest.empty(); first = false) {
            const auto taken = static_cast<ptrdiff_t>(std::min<size_t>(rest.size(), 184));
            TsPacket packet(kSdtPid);
            if (first) packet.start();
            results.push_back(sdt_filter(packet.payload({rest.begin(), rest.begin() + taken})));
            rest.erase(rest.begin(), rest.begin() + taken);
        }
        return results;
    }
    void know_programs(int count) {
        ProgramList programs;
        for (int i = 1; i <= count; ++i)
            programs.emplace_back(i, kPmtPid + i - 1);
        ASSERT_EQ(pat_filter(pat_packet(programs)), 1u);
        log.clear();
    }

    LogRecorder log;
    ManualClock clock;
    Analyser ts;
    GuardedBuffer buffer{188};
    Bytes placed() { return Bytes(buffer.data(), buffer.data() + 188); }

  private:
    uint8_t* place(const TsPacket& packet) {
        ts->pkt_size = 188;
        uint8_t* bytes = buffer.place(packet.build());
        zvsi_api_tsHeaderParse(&ts->ts_head, bytes, 188, 0);
        return bytes;
    }
};

TEST_F(Tables, AreDumpedLineByLine) {
    ts.parse(one_programme());
    EXPECT_EQ(
        log.text(),
        "-------adaptation_field_len: 0 byte----------|Find tid(0,0,0xb0)|"
        "-------[PAT]HEADER INFO: 8 byte----------|-------payload_offset: 1 byte----------|"
        "The psi has pointer_filed in the first byte |section_len:0xd=13|"
        "transport_stream_id:0x1=1|vrsion_num:0=0|section_num:0=0|section_lastsec:0=0|"
        "adaptation_field_len:0|crc:0x2ab104b2=716244146|"
        "-------[PAT]program_loop,program_totalnum(payload_len:4):1----------|"
        "pro_num(1), pmt:0x1000|"
        "-------[PMT]HEADER INFO:12 byte----------|The psi has pointer_filed in the first byte |"
        "program:1=0x1|section_len:29|section_num:0|section_lastsec:0|pid_pcr:0x100|"
        "-------[PMT]program_info_des_loop----------|program_info_len:0|crc:0x8d829a07=2374146567|"
        "-------[PMT]stream loop----------|##stream: video-h264, pid:0x100,esinfo_len:0|"
        "Has esinfo,len=6|##stream: audio-aac, pid:0x101,esinfo_len:6|"
        "Find all info,totalnum_program:1,num_pmtInfo:1|"
        "-------[SDT]HEADER INFO:11 byte----------|The psi has pointer_filed in the first byte |"
        "-------adaptation_field_len: 0 byte----------|Find tid(0,0x42,0xb0)|section_len:35|"
        "transport_streamid:1|vrsion_num:0|current_next_indicator:1|section_num:0|"
        "section_lastsec:0|original_network_id:65281|"
        "sdt_section_len_recv, sdt_section_len:184,35|"
        "-------adaptation_field_len: 0 byte----------|"
        "-------[SDT]service_des_loop,len=23----------|des_loop_len:18|"
        "len_service_provider_name:6|len_service_name:7|---------1/1------------|"
        "serviceid:1=0x1|service_type:1|service_provider_name:Makers|service_name:Channel|"
        "-----------------------|crc:0x4396592=70870418");
}

using Pat = Tables;

TEST_F(Pat, IsReadOnceAndThenOnlyStamped) {
    EXPECT_EQ(pat_filter(pat_packet({{0, 0x10}, {1, 0x100}, {2, 0x200}})), 1u);
    EXPECT_EQ(ts->totalnum_program, 2);
    EXPECT_EQ(ts->pid_nit, 0x10);
    EXPECT_EQ(ts->pid_pmt[1], 0x200);
    EXPECT_EQ(ts->program[1].program_number, 2);
    EXPECT_EQ(Bytes(ts->pat_pkt, ts->pat_pkt + 188), placed());
    EXPECT_EQ(clock.readings, 0);
    std::vector<uint64_t> periods;
    for (int i = 0; i < 3; ++i) {
        clock.now += 40'000;
        ts->is_update = 0;
        EXPECT_EQ(pat_filter(pat_packet({{7, 0x700}})), 1u);
        EXPECT_EQ(ts->is_update, 1);
        periods.push_back(ts->period_pat.period);
    }
    EXPECT_EQ(periods, (std::vector<uint64_t>{0, 40'000, 40'000}));
    EXPECT_EQ(ts->program[0].program_number, 1);
}

TEST_F(Pat, StopsAtAnInvalidPmtPidAndNeverCopiesThePacket) {
    EXPECT_EQ(pat_filter(pat_packet({{1, 0x100}, {2, 0x1FFF}, {3, 0x300}})), 0u);
    EXPECT_EQ(log.count("unvalid programid 8191,out of range(16~8190)"), 1);
    EXPECT_EQ(ts->totalnum_program, 1);
    EXPECT_EQ(ts->has_pat, 1);
    EXPECT_EQ(pat_filter(pat_packet({{1, 0x100}})), 1u);
    EXPECT_EQ(ts->pat_pkt[0], 0);
}

TEST_F(Pat, StoresThirtyOfThirtyOneProgrammes) {
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(pat_filter(pat_packet({{0, 0x10}})), 1u);
    EXPECT_EQ(log.count("pid_nit:0x10"), 2);  // no programme yet, so it was read again
    EXPECT_EQ(ts->has_pat | ts->is_update, 0);
    EXPECT_EQ(ts->pat_pkt[0], 0x47);
    ProgramList programs;
    for (int i = 0; i < 31; ++i)
        programs.emplace_back(i + 1, 0x20 + i);
    EXPECT_EQ(pat_filter(pat_packet(programs)), 1u);
    EXPECT_EQ(ts->totalnum_program, 30);
    EXPECT_EQ(ts->program[29].pmt_pid, 0x20 + 29);
    EXPECT_EQ(log.text(2), "Only support 30 program");
}

TEST_F(Pat, WithAWrongCrcIsDumpedAndRefused) {
    EXPECT_EQ(pat_filter(TsPacket(0).section(pat({{1, 0x1000}}).break_crc())), 0u);
    EXPECT_EQ(log.text(1), "crc(0x2ab104b3)!=crc_calac(0x2ab104b2),maybe pes_payload is error");
    ASSERT_EQ(log.hex_dumps.size(), 1u);
    EXPECT_EQ(log.hex_dumps[0].label, "PAT");
    EXPECT_EQ(log.hex_dumps[0].bytes, placed());
    EXPECT_EQ(ts->has_pat, 0);
}

TEST_F(Pat, LooksForTheSectionRightBehindThePointerField) {
    // The byte's value is not read ...
    EXPECT_EQ(pat_filter(TsPacket(0).section(pat({{1, 0x100}}), {9})), 1u);
    ts->has_pat = 0;
    // ... so a section that really starts later is not found.
    EXPECT_EQ(pat_filter(TsPacket(0).section(pat({{1, 0x100}}), {2, 0xEE, 0xEF})), 0u);
    EXPECT_EQ(log.text(2), "Maybe It isnot a PAT pkt(0x2,0xee,0xef)");
    EXPECT_EQ(log.hex_dumps.at(0).bytes.size(), 184u);
    // Without a pointer field the CRC is looked for one byte too late.
    EXPECT_EQ(pat_filter(TsPacket(0).payload(pat({{1, 0x100}}))), 0u);
    EXPECT_EQ(log.count("crc("), 1);
    EXPECT_EQ(log.bodies(2).at(1),
              "[quenvale]The psi hasnot pointer_filed in the first byte:I dont support ,please "
              "fix me");
}

TEST_F(Pat, MustFitItsPacketAndHoldWholeEntries) {
    Section filled = pat({{1, 0x100}}).with_zero_crc(180);
    EXPECT_EQ(pat_filter(TsPacket(0).adaptation(4).section(filled)), 0u);
    EXPECT_EQ(log.text(1), "(section_len+adaptation_field_len)(185) > 184,dont support");
    EXPECT_EQ(pat_filter(TsPacket(0).section(filled)), 0u);
    EXPECT_EQ(log.text(2),
              "[quenvale]Maybe payload_len is error.payload_len,section_len,adaptation_field_"
              "len,payload_offset:171,180,0,1,please fix me");
    EXPECT_EQ(log.count("crc("), 0);  // the forged CRC was good, which the next test builds upon
}

TEST_F(Tables, WhoseCrcIsCutOffNeverMatchEvenWhenZeroWould) {
    know_programs(1);
    ts->has_pat = 0;
    for (const size_t sum : {181u, 182u, 183u, 184u}) {
        log.clear();
        EXPECT_EQ(pat_filter(TsPacket(0).section(pat({{1, 0x100}}).with_zero_crc(sum))), 0u);
        EXPECT_EQ(log.count("crc(0)!=crc_calac(0)"), 1) << sum;
    }
    ts->has_pat = 1;
    for (const size_t sum : {181u, 182u, 183u, 184u}) {
        const Section section = pmt(1, 0x100, {{0x1B, 0x100}}).with_zero_crc(sum);
        EXPECT_EQ(pmt_filter(pmt_packet(section), ZV_TS_REMAP, 0x300, 5), 0u);
        EXPECT_EQ(placed(), pmt_packet(section).build()) << sum;  // nothing rewritten
    }
    EXPECT_EQ(ts->program[0].es_count, 0);
    EXPECT_EQ(log.count("crc(0)!=crc_calac(0)"), 5);
}

using Pmt = Tables;

TEST_F(Pmt, KeepsTheFirstFourOfFiveStreams) {
    know_programs(1);
    EXPECT_EQ(
        pmt_filter(pmt_packet(pmt(
            1, 0x100, {{0x1B, 0x100}, {0x81, 0x101}, {0x90, 0x1FFF}, {235, 0x103}, {240, 0x104}}))),
        1u);
    EXPECT_EQ(log.text(3),
              "##stream: video-h264, pid:0x100,esinfo_len:0|"
              "##stream: audio-ac3, pid:0x101,esinfo_len:0|"
              "##stream:0x90 unknow, pid:0x1fff,esinfo_len:0|"
              "##stream:0xeb unknow, pid:0x103,esinfo_len:0|"
              "##stream:0xf0 unknow, pid:0x104,esinfo_len:0");
    const MPEGTSProgram& program = ts->program[0];
    EXPECT_EQ(program.es_count, 4);
    EXPECT_EQ(program.streams[0].kind + 10 * program.streams[1].kind + program.streams[2].kind,
              21u);
    EXPECT_STREQ(program.streams[1].type_name, "ac3");
    EXPECT_STREQ(program.streams[3].type_name, "unknow");
    EXPECT_EQ(program.pcr_pid, 0x100);
    EXPECT_EQ(Bytes(program.pmt_packet, program.pmt_packet + 188), placed());
}

TEST_F(Pmt, IsReadOnceAndThenOnlyStampedAndCounted) {
    know_programs(1);
    const Bytes first = pmt(1, 0x100, {{0x1B, 0x100}}), other = pmt(1, 0x200, {{2, 0x200}});
    for (const int cc : {3, 4, 9}) {
        clock.now += 100'000;
        EXPECT_EQ(pmt_filter(pmt_packet(cc == 3 ? first : other).cc(cc), ZV_TS_CHECK_CC), 1u);
    }
    pmt_filter(TsPacket(kPmtPid).cc(1).payload({1, 2, 3}), ZV_TS_CHECK_CC);  // no table head
    EXPECT_EQ(ts->program[0].pcr_pid, 0x100);
    EXPECT_EQ(ts->program[0].period.period, 100'000u);
    EXPECT_EQ(ts->program[0].cc_state.last_cc, 9);
    EXPECT_EQ(log.count("[cam-Pid0x1000(PMT)]Continuity check failed! Expected 05 got 09"), 1);
}

TEST_F(Pmt, WalksOnInsideDescriptorsThatAreTooLong) {
    know_programs(1);
    const PmtStream too_long = {0x1B, 0x100, {0x0F, 0xE1, 0x01, 0xF0, 0x00}, 129};
    EXPECT_EQ(pmt_filter(pmt_packet(pmt(1, 0x100, {too_long}))), 1u);
    EXPECT_EQ(log.text(2), "[quenvale]esinfo_len=129 too long,drop it,please fix me");
    ASSERT_EQ(ts->program[0].es_count, 2);
    EXPECT_EQ(ts->program[0].streams[0].es_info_len, 0);
    EXPECT_EQ(ts->program[0].streams[1].pid, 0x101);
}

TEST_F(Pmt, TakesOnlyDescriptorBytesInsideThePacket) {
    know_programs(1);
    const Bytes section = pmt(1, 0x100, {{0x1B, 0x100, Bytes(100, 7)}, {6, 0x101, {}, 128}});
    Bytes after(183 - section.size(), 9), payload{0};
    append(payload, section);
    append(payload, after);
    EXPECT_EQ(pmt_filter(TsPacket(kPmtPid).start().payload(payload)), 1u);
    const MPEGTSStream& last = ts->program[0].streams[1];
    after.resize(124, 0);
    EXPECT_EQ(last.es_info_len, 128);
    EXPECT_EQ(Bytes(last.es_info + 4, last.es_info + 128), after);
}

TEST_F(Pmt, RefusesInvalidPidsButKeepsWhatCameBefore) {
    know_programs(2);
    EXPECT_EQ(pmt_filter(pmt_packet(pmt(1, 0x1FFF, {{2, 0x100}}).break_crc())), 0u);
    EXPECT_EQ(ts->program[0].pcr_pid, 0x1FFF);  // stored before it is tested
    EXPECT_EQ(log.count("unvalid pid_pcr 8191,out of range(16~8190)"), 1);
    EXPECT_EQ(log.count("crc"), 0);
    EXPECT_EQ(pmt_filter(pmt_packet(pmt(1, 0x100, {{2, 0x100}, {0x24, 0x1FFF}, {3, 0x102}}))), 0u);
    EXPECT_EQ(log.count("unvalid epid 8191,out of range(16~8190)"), 1);
    EXPECT_EQ(ts->program[0].es_count, 1);
    EXPECT_EQ(ts->program[0].pmt_parsed, 1);
    EXPECT_EQ(pmt_filter(pmt_packet(pmt(9, 0x100, {{2, 0x100}}))), 0u);  // not in the PAT
    EXPECT_EQ(pmt_filter(TsPacket(0x1234).section(pmt(1, 0x100, {{2, 0x100}}))), 0u);
}

// Number 0, not known yet, matches any; the high byte of 0x100 alone would match half a number.
TEST_F(Pmt, WhoseHeadRunsPastThePacketNamesNoProgrammeAndNoPcr) {
    know_programs(1);
    MPEGTSProgram& program = ts->program[0];
    const Bytes section = pmt(0x100, 0x123, {{2, 0x100}});
    const auto offer = [&](int bytes_inside) {
        return pmt_filter(TsPacket(kPmtPid).adaptation(182 - bytes_inside).section(section),
                          ZV_TS_CHECK_CC);
    };
    for (const bool parsed : {false, true}) {
        for (int bytes_inside = 2; bytes_inside <= 9; ++bytes_inside) {
            SCOPED_TRACE(bytes_inside);
            program = {};
            program.pmt_pid = kPmtPid;
            program.program_number = parsed ? 0x100 : 0;
            program.pmt_parsed = parsed;
            program.pcr_pid = 0x1FF;
            ts->is_update = 0;
            const MPEGTSProgram before = program;
            const bool is_named = bytes_inside >= 5;
            EXPECT_EQ(offer(bytes_inside), is_named && parsed);
            EXPECT_EQ(ts->is_update, is_named && parsed);
            EXPECT_EQ(program.cc_state.started, is_named);
            EXPECT_EQ(program.pcr_pid, 0x1FF);
            EXPECT_EQ(memcmp(&before, &program, sizeof before) == 0, !is_named);
        }
    }
    program.pmt_parsed = 0;
    EXPECT_EQ(offer(10), 0u);
    EXPECT_EQ(program.pcr_pid, 0x123);  // all of it is inside
}

TEST_F(Pmt, WithoutStreamsIsAcceptedAndReadAgain) {
    know_programs(1);
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(pmt_filter(pmt_packet(pmt(1, 0x100, {}))), 1u);
    Bytes body = table_head(1);
    append(body, {0xE1, 0x00, 0xFF, 0xFF, 1, 2, 3, 4, 5, 6});  // program_info_length 4095
    EXPECT_EQ(pmt_filter(pmt_packet(Section(2, body))), 1u);
    EXPECT_EQ(log.count("[PMT]stream loop"), 3);
    EXPECT_EQ(ts->program[0].pmt_parsed | ts->has_pmt, 0);
}

TEST_F(Pmt, GetsNewIdentifiersAndAFreshCrcWhenRemapped) {
    know_programs(1);
    ts->program[0].program_number = 0;  // not known: matches any
    EXPECT_EQ(pmt_filter(pmt_packet(pmt(7, 0x100, {{2, 0x100}})), ZV_TS_REMAP, 0x1100, 0), 1u);
    TsPacket expected = TsPacket(0x1100).section(pmt(0, 0x100, {{2, 0x100}}));
    EXPECT_EQ(placed(), expected.build());
    EXPECT_EQ(ts->program[0].program_number, 7);
}

using Sdt = Tables;

// A section with services 1 and 2, of just this section_length.
Bytes sdt_of_length(int section_length) {
    const std::string names(510, 'n');
    const int first = std::min(section_length - 22 - 10, 400);
    const int second = section_length - 32 - first;
    const auto part = [&](int length) { return std::string_view(names).substr(0, size_t(length)); };
    return sdt({{1, 1, part(first / 2), part(first - first / 2)},
                {2, 2, part(second / 2), part(second - second / 2)}});
}

// One that ends with its packet is complete before its CRC, in the next one, has been seen.
TEST_F(Sdt, IsGatheredFromUpToFourPackets) {
    struct Case {
        int length;
        size_t packets;
        int crc_warnings;
    };
    for (const auto& [length, packets, crc_warnings] :
         {Case{180, 1, 0}, Case{181, 1, 1}, Case{184, 1, 1}, Case{185, 2, 0}, Case{364, 2, 0},
          Case{365, 2, 1}, Case{368, 2, 1}, Case{369, 3, 0}, Case{553, 4, 0}, Case{732, 4, 0},
          Case{733, 4, 1}, Case{736, 4, 1}}) {
        SCOPED_TRACE(length);
        ts->sdt = {};
        ts->totalnum_program = crc_warnings == 0 ? 2 : 3;
        log.clear();
        EXPECT_EQ(gather_sdt(sdt_of_length(length)).at(packets - 1), 1u);
        EXPECT_EQ(log.bodies(2).size(), static_cast<size_t>(crc_warnings));
        EXPECT_EQ(ts->sdt.service_count, 2);
        EXPECT_TRUE(ts->sdt.received == 0 || crc_warnings > 0);
    }
    ts->sdt = {};
    EXPECT_EQ(gather_sdt(sdt_of_length(800)), (std::vector<uint32_t>{1, 1, 1, 1, 0}));
    EXPECT_EQ(log.count("Maybe sdt_section_len is error:800,1024"), 1);
    EXPECT_EQ(ts->sdt.received, 0);
}

TEST_F(Sdt, DoesNotCountAServiceWhoseLengthsDisagree) {
    know_programs(3);
    const Bytes section = sdt({{1, 1, "P", "one"}, {2, 1, "P", "two", 1}});
    std::vector<uint32_t> received;
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(gather_sdt(section), std::vector<uint32_t>{0});
        received.push_back(ts->sdt.received);
    }
    EXPECT_EQ(received, (std::vector<uint32_t>{184, 368, 552, 736, 0}));  // the drift ends itself
    EXPECT_EQ(log.count("unvaild des_loop_len:10!=9"), 4);
    EXPECT_EQ(log.count("find serviceid(programe_num):1"), 3);
    EXPECT_EQ(ts->sdt.service_count, 1);
    EXPECT_EQ(ts->is_update, 1);  // by the PAT
}

TEST_F(Sdt, IsOnlyStampedOnceEveryProgrammeHasAService) {
    EXPECT_EQ(sdt_filter(TsPacket(kSdtPid).section(sdt({{1, 1, "", "early"}}))), 1u);
    EXPECT_EQ(ts->sdt.service_count, 0);  // no programme, no service missing
    know_programs(1);
    EXPECT_EQ(gather_sdt(sdt({{7, 1, "a", "elsewhere"}, {1, 1, "b", "late"}})),
              std::vector<uint32_t>{0});
    EXPECT_EQ(log.count("sdt_num =totalnum_program:1=1"), 1);
    EXPECT_STREQ(ts->sdt.services[0].service_name, "elsewhere");
    ts->is_update = 0;
    clock.now += 500'000;
    EXPECT_EQ(sdt_filter(TsPacket(kSdtPid).payload({1, 2, 3})), 1u);
    EXPECT_EQ(ts->period_sdt.period, 500'000u);
    EXPECT_EQ(ts->is_update, 0);
}

TEST_F(Sdt, KeepsTheServicesOfADamagedSectionAndDropsNulBytes) {
    know_programs(2);
    const Section section = sdt({{1, 2, std::string_view("A\0B", 3), std::string_view("\0C", 2)}});
    EXPECT_EQ(gather_sdt(Section(section).break_crc()), std::vector<uint32_t>{1});
    EXPECT_STREQ(ts->sdt.services[0].provider_name, "AB");
    EXPECT_STREQ(ts->sdt.services[0].service_name, "C");
    EXPECT_EQ(log.bodies(2).size(), 1u);
    for (int i = 0; i < 2; ++i) {  // one service short: gathered again and again
        ts->is_update = 0;
        EXPECT_EQ(gather_sdt(section), std::vector<uint32_t>{1});
        EXPECT_EQ(ts->is_update, 1);
    }
    EXPECT_EQ(ts->period_sdt.last, 0u);
}

}  // namespace
