// SPDX-License-Identifier: MIT
// What hosts get to read: the record filled by updateInfo, the one-line report and the statistics.
#include <gtest/gtest.h>

#include <memory>

#include "support/analyser.h"
#include "support/log_recorder.h"
#include "support/manual_clock.h"

namespace {

using namespace zvtest;

std::string report(StreamInfo& info, bool with_format = true) {
    std::string out(ZV_TS_STREAM_INFO_MAX, '\0');
    EXPECT_EQ(mpegts_api_getStreamInfo(&info, out.data(), with_format), 1);
    return out.c_str();
}

class Reports : public testing::Test {
  protected:
    ManualClock clock;
    LogRecorder log;
    Analyser ts;
    std::unique_ptr<StreamInfo> info = std::make_unique<StreamInfo>();
};

TEST_F(Reports, TellProgressUntilAllTablesAreKnown) {
    const StreamInfo untouched = *info;
    EXPECT_EQ(ts.update(*info), -1);
    ts.parse(pat_packet({{1, 0x1000}, {2, 0x1001}, {3, 0x1002}}));
    EXPECT_EQ(ts.update(*info), -1);
    EXPECT_EQ(memcmp(&untouched, info.get(), sizeof untouched), 0);  // no PMT yet: nothing to tell
    ts.parse(TsPacket(0x1000).section(pmt(1, 0x100, {{2, 0x100}})));
    EXPECT_EQ(ts.update(*info), -1);
    EXPECT_STREQ(info->progress, "Found 1/3 PMT");
    EXPECT_EQ(log.bodies().back(), "parseProgressInfo:Found 1/3 PMT");
    memset(info->progress, 0, sizeof info->progress);
    EXPECT_EQ(ts.update(*info), -1);  // told once
    EXPECT_EQ(memcmp(&untouched, info.get(), sizeof untouched), 0);
    ts.parse(TsPacket(0x1001).section(pmt(2, 0x200, {{2, 0x200}})));
    ts.parse(TsPacket(0x1002).section(pmt(3, 0x300, {{2, 0x300}})));
    EXPECT_EQ(ts.update(*info), 1);
    EXPECT_EQ(report(*info),
              "format[mpegts],pktSize[188]parseProgressInfo[Finished!],program_num[3]");
    EXPECT_EQ(ts.update(*info), -1);  // nothing learnt since
    info->report_program_count = 31;
    EXPECT_EQ(report(*info, false), "parseProgressInfo[Finished!],program_num[31]");
}

TEST_F(Reports, DescribeTheOnlyProgrammeInOneLine) {
    const TsStream tables = one_programme();
    for (int i = 0; i < 3; ++i) {
        ts.parse(tables);
        ts.parse(TsPacket(kVideoPid).pcr(1));
        clock.now += 40'000;
    }
    ts.parse(TsPacket(kAudioPid).pcr(1));
    ts.parse(TsPacket(kAudioPid).cc(1), ZV_TS_CHECK_CC);
    ts.parse(TsPacket(kAudioPid).cc(5), ZV_TS_CHECK_CC);
    EXPECT_EQ(ts.update(*info), 1);
    EXPECT_EQ(report(*info),
              "format[mpegts],pktSize[188]parseProgressInfo[Finished!],pat[40000],sdt[40000],"
              "pmt[0x1000-40000],pcr[0x100-40000],service[digital_tv,Makers,Channel],h264[0x100],"
              "aac[0x101]-cc[error,lost:1,1]-numPcr_noInPmt[1]");
    EXPECT_EQ(Bytes(info->packet, info->packet + info->packet_len),
              Bytes(ts->pat_pkt, ts->pat_pkt + 188));
    EXPECT_EQ(info->programs[0].pmt_packet_len, 188);
    EXPECT_EQ(info->programs[0].pmt_packet[0], 0x47);
    EXPECT_EQ(info->programs[0].streams[1].es_info_len, 6);
    EXPECT_EQ(info->programs[0].streams[1].es_info[4], 'g');
    EXPECT_EQ(info->programs[0].streams[1].cc_state.lostnum, 3u);

    log.clear();
    mpegts_innerapi_showStatistics(ts.get());
    EXPECT_EQ(log.text(3),
              "-------------------------------------------------------|"
              "* pktSize:188|"
              "[PAT]period,numErr,numLost:40000,0,0|"
              "[SDT]period,numErr,numLost:40000,0,0|"
              "[PMT-0x1000]period,numErr,numLost:40000,0,0|"
              "[pcr-0x100]period:40000|"
              "[h264-0x100]numErr,numLost:0,0|"
              "[aac-0x101]numErr,numLost:1,3");
}

TEST_F(Reports, PrintMediaDetailsTheHostFilledIn) {
    info->program_count = 1;
    StreamInfoProgram& program = info->programs[0];
    program.pmt_pid = 0x20;  // on a format that is no transport stream
    program.has_service = 1;
    strcpy(program.service_name, "Name");
    program.es_count = 4;
    const auto add = [&](int at, int kind, const char* name, uint16_t pid) -> StreamInfoEs& {
        StreamInfoEs& es = program.streams[at];
        es.kind = kind;
        es.pid = pid;
        strcpy(es.type_name, name);
        return es;
    };
    StreamInfoEs& video = add(0, 1, "h264", 0x100);
    strcpy(video.picture, "1920x1080");
    video.frame_rate = 25;
    strcpy(video.video_desc[2], "high");
    StreamInfoEs& audio = add(1, 2, "aac", 0);
    audio.sample_rate = 48'000;
    audio.bit_rate = 128'000;
    strcpy(audio.audio_desc[0], "stereo");
    audio.cc_state = {1, 0, 0, 2, 5};
    StreamInfoEs& only_rate = add(2, 2, "ac3", 0x102);
    only_rate.bit_rate = 64'000;
    only_rate.cc_state = {1, 0, 0, 0, 5};
    add(3, 0, "unknow", 0).cc_state = {1, 0, 0, 0, 0};
    EXPECT_EQ(report(*info),
              ",pmt[0x20],service[Name],h264[0x100,1920x1080,25.0 fps,high],"
              "aac[48000 Hz,128000 bps,stereo]-cc[error,lost:2,2],"
              "ac3[0x102,,64000 bps]-cc[error,lost:0,0],unknow-cc[0]");
    program.pmt_pid = 0;
    EXPECT_EQ(report(*info).substr(0, 14), ",h264[0x100,19");
    strcpy(info->format, "mpegts");
    EXPECT_EQ(report(*info).substr(0, 33), "format[mpegts],service[Name],h264");
    EXPECT_NE(report(*info).find(",unknow[0]-cc[0]"), std::string::npos);
}

TEST_F(Reports, SurviveRecordsWithoutEndsAndAppendToWhatIsThere) {
    char out[32768] = "have:";
    EXPECT_EQ(mpegts_api_getStreamInfo(info.get(), out, 1), 0);
    EXPECT_STREQ(out, "have:");
    memset(static_cast<void*>(info.get()), 'x', sizeof *info);
    info->report_program_count = info->program_count = 1;
    info->programs[0].es_count = 127;
    EXPECT_EQ(mpegts_api_getStreamInfo(info.get(), out, 1), 1);
    EXPECT_EQ(std::string(out).substr(0, 5 + 7 + 128), "have:format[" + std::string(128, 'x'));
    EXPECT_LT(strlen(out), size_t{ZV_TS_STREAM_INFO_MAX});
}

TEST_F(Reports, CutATypeNameThatFillsItsField) {
    ts.parse(one_programme());
    memset(ts->program[0].streams[0].type_name, 'n', 64);
    log.clear();
    EXPECT_EQ(ts.update(*info), 1);
    const std::string name(64, 'n');
    EXPECT_EQ(log.text(2), "There is a bug that buf1 (64 < 65)(" + name + "),please fix!!");
    EXPECT_EQ(std::string(info->programs[0].streams[0].type_name, 64), name);
    EXPECT_NE(report(*info).find("," + name + "[0x100]"), std::string::npos);
    mpegts_innerapi_showStatistics(ts.get());
    EXPECT_EQ(log.count("[" + name + "-0x100]numErr"), 1);
}

TEST_F(Reports, KeepRetryingTheCopyOfAPatThatWasNeverTaken) {
    ts.parse(pat_packet({{1, kPmtPid}, {2, 3}}));
    ts.parse(TsPacket(kPmtPid).section(pmt(1, 0x100, {{2, 0x100}})));
    EXPECT_EQ(ts.update(*info), 1);
    EXPECT_EQ(info->packet_len, 188);
    EXPECT_EQ(info->packet[0], 0);
    EXPECT_EQ(info->program_count, 1);
}

TEST(Names, FallBackAtTheTablesEnds) {
    struct Guarded {
        char text[24];
        char after[8];
    } name;
    const std::pair<uint32_t, const char*> types[] = {
        {0, "unknow"},   {0x18, "138186ObjectCarousel"}, {0xEA, "vc1"},         {235, "unknow"},
        {236, "unknow"}, {0xFFFFFFFF, "unknow"},         {8, "Annex A -DSM CC"}};
    for (const auto& [type, expected] : types) {
        memset(&name, 'x', sizeof name);
        mpegts_innerapi_getAVTypeString(type, name.text);
        EXPECT_STREQ(name.text, expected);
        EXPECT_EQ(name.after[0], 'x');
    }
    MPEGTSService service = {};
    auto program = std::make_unique<StreamInfoProgram>();
    const std::pair<uint8_t, const char*> services[] = {{25, "advanced_codec_digital_hdtv"},
                                                        {26, "unknow_servicetype"},
                                                        {27, "unknow_servicetype"},
                                                        {2, "digital_radio"}};
    for (const auto& [type, expected] : services) {
        service.service_type = type;
        mpegts_innerapi_getServiceTypeString(program.get(), &service, nullptr);
        EXPECT_STREQ(program->service_type, expected);
    }
}

}  // namespace
