// SPDX-License-Identifier: MIT
// The registry of resolvers, the library's identity, the form of a log line, and a context's birth.
#include <gtest/gtest.h>

#include <regex>

#include "bitStream/log.h"
#include "bitStream/registry.h"
#include "support/analyser.h"
#include "support/failing_memory.h"
#include "support/log_recorder.h"

namespace {

using namespace zvtest;

TEST(Log, WritesFileAndConsoleWithAndWithoutFunctionAndLine) {
    LogRecorder log;
    LOG(3, "MPEGTS", "n=%d", 5);
    EXPECT_EQ(log.lines.back().raw, "2024-05-06 07:08:09.123[INFO][MPEGTS]n=5\r\n");

    flag_stdPrint = 1;
    testing::internal::CaptureStdout();
    LOG(1, "FLV", "no arguments");
    flag_printLineFunc = 1;
    LOG(2, "zvsi", "[%s]x", "cam");
    const std::string here = "[WARN][zvsi][TestBody " + std::to_string(__LINE__ - 1) + "][cam]x";
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\033[1;31m 2024-05-06 07:08:09.123[ERROR][FLV]no arguments\033[0m\r\n"
              "\033[1;33m 2024-05-06 07:08:09.123" +
                  here + "\033[0m\r\n");
    EXPECT_EQ(log.lines.back().raw, "2024-05-06 07:08:09.123" + here + "\r\n");
}

TEST(Log, LevelAndTagFilterDecideBeforeArgumentsAreEvaluated) {
    LogRecorder log(3, "flv,ZVSI");
    int evaluated = 0;
    LOG(4, "zvsi", "%d", ++evaluated);
    LOG(3, "MPEGTS", "%d", ++evaluated);
    EXPECT_EQ(evaluated, 0);
    LOG(3, "zvsi", "%d", ++evaluated);  // the filter ignores case
    zvlog_api_setLoglevel(0);
    LOG(1, "zvsi", "%d", ++evaluated);
    EXPECT_EQ(log.text(), "1");
}

class Registry : public testing::Test {
  protected:
    Registry() { first_parser = nullptr; }
    ~Registry() override {
        static auto* const kept =
            new std::vector<AVParser*>;  // entries live as long as the process
        kept->push_back(first_parser);
        first_parser = nullptr;
    }
    LogRecorder log_;
};

TEST_F(Registry, ListsThreeParsersAndRegistersOne) {
    bitStream_register_parser();
    EXPECT_EQ(log_.text(5),
              "===RESOLVER *  Table===|*  mpegts|*  flvparser|*  mp3parser|"
              "=========================");
    EXPECT_EQ(ffurl_match_resolver("mpegts"), &ffurl_mpegts_parser);
    for (const char* name : {"mpeg", "mpegts2", "MPEGTS", "", "flv", "flvparser", "mp3parser"})
        EXPECT_EQ(ffurl_match_resolver(name), nullptr) << name;
    EXPECT_EQ(ffurl_match_resolver(nullptr), nullptr);
    EXPECT_EQ(log_.text(1), "Param error");
}

TEST_F(Registry, CopiesShortDescriptorsAndLinksFullOnesInPlace) {
    static AVParser full = {"full", "f", nullptr, nullptr, nullptr, nullptr, &full};
    static AVParser old = {"old", "o", nullptr, nullptr, nullptr, nullptr, nullptr};
    const FailingMemory memory;
    for (const int size : {0, -5})
        ffurl_register_resolver(&full, size);  // nameless, yet harmless
    ffurl_register_resolver(&old, 2 * sizeof(char*));
    for (int i = 0; i < 2; ++i)
        ffurl_register_resolver(&full, sizeof full);
    EXPECT_EQ(memory.last_tag, "AVParser|");
    EXPECT_EQ(memory.last_size, sizeof(AVParser));
    const AVParser* copy = ffurl_match_resolver("old");
    ASSERT_TRUE(copy != nullptr && copy != &old);
    EXPECT_EQ(copy->init, nullptr);
    EXPECT_EQ(copy->next, &full);
    EXPECT_EQ(full.next, nullptr);  // registered twice, the list ends here and not in a ring

    const FailingMemory none(0);
    EXPECT_EQ(ffurl_register_resolver(&old, 8), 0);
    EXPECT_EQ(ffurl_register_resolver(nullptr, 56), 0);
    EXPECT_EQ(full.next, nullptr);
}

TEST(Identity, NamesTheParsersAndTheVersion) {
    char text[64] = "have:";
    zvbitStream_api_info(text);
    EXPECT_STREQ(text, "have:linux_soc|mpegts_parser|flv_parser|mp3_parser");
    zvbitStream_api_info(nullptr);
    EXPECT_TRUE(std::regex_match(zvbitStream_api_version(), std::regex("(\\d\\d+[.]){2}\\d\\d+")));
}

TEST(Context, IsBornZeroedDiesOnceAndToleratesMissingMemory) {
    LogRecorder log;
    const AVParser& parser = ffurl_mpegts_parser;
    void* slot = nullptr;
    {
        const FailingMemory memory;
        parser.init(&slot, "cam", nullptr);
        EXPECT_EQ(memory.last_tag, "MPEGTSContxt|resolve-mpegts");
        EXPECT_EQ(static_cast<MPEGTSContext*>(slot)->totalnum_program, 0);
        for (int i = 0; i < 2; ++i)
            parser.deinit(&slot);
        EXPECT_EQ(slot, nullptr);
        EXPECT_EQ(memory.live, 0);
        EXPECT_EQ(log.text(), "");
    }
    const FailingMemory memory(0);
    slot = &log;
    parser.init(&slot, "cam", nullptr);
    EXPECT_EQ(slot, nullptr);
    parser.deinit(nullptr);
    EXPECT_EQ(parser.parse(nullptr, nullptr, 0, 0), -1);
    EXPECT_EQ(parser.updateInfo(nullptr, nullptr), -1);
    EXPECT_EQ(log.text(1),
              "Malloc MPEGTSContxt|resolve-mpegts failed,please check the memory|"
              "dbuf is null|dbuf is null|dbuf is null");
}

TEST(Context, KeepsANameOf255CharactersAndCutsOneOf256) {
    LogRecorder log;
    const std::string whole(255, 'n'), over(256, 'm');
    Analyser fits(whole.c_str()), cut(over.c_str()), nameless(nullptr);
    EXPECT_EQ(fits->name, whole);
    EXPECT_EQ(nameless->name[0], '\0');
    EXPECT_EQ(log.text(), "There is a bug that buf1 (256 < 257)(" + over + "),please fix!!");
    cut->is_getAllInfo = 0xFF;  // the member after the name
    for (const int cc : {1, 5})
        cut.parse(pat_packet({{1, kPmtPid}}).cc(cc), ZV_TS_CHECK_CC);
    EXPECT_EQ(log.count("[" + over + "-Pid0(PAT)]Continuity check failed!"), 1);
}

}  // namespace
