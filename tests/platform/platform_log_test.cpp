// SPDX-License-Identifier: MIT
// The log library, used as a host uses it: files in a directory of the test's own.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <limits>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "support/folder.h"
#include "zvlog.h"
#include "zvlog_ext.h"

namespace {

using namespace zvtest;
namespace fs = std::filesystem;

const unsigned level_at_start = zvlog_api_getLoglevel();
const bool echo_at_start = flag_stdPrint != 0;

class Log : public testing::Test {
  protected:
    void TearDown() override {
        zvlog_api_deinit();
        for (const char* name : {"ZVLOG_DIR", "ZVLOG_MAX_BYTES", "ZVLOG_GENERATIONS"}) {
            unsetenv(name);
        }
        zvlog_ext_setRotation(ZVLOG_DEFAULT_MAX_BYTES, ZVLOG_DEFAULT_GENERATIONS);
        flag_stdPrint = 0;
    }
    int open(const char* file = "a.log") { return zvlog_api_init(4, dir.c_str(), file, 0); }
    std::string text(const char* file = "a.log") const { return folder.get(file); }

    const Folder folder;
    const fs::path dir = folder.path();
};

TEST_F(Log, StartsWithWarningsAndNoEchoAndKeepsTheLevelInRange) {
    EXPECT_EQ(level_at_start, 2u);
    EXPECT_FALSE(echo_at_start);
    zvlog_innerapi_file("goes nowhere");
    for (const auto& [given, kept] : {std::pair{-3, 0u}, {0, 0u}, {6, 6u}, {99, 6u}}) {
        zvlog_api_init(given, dir.c_str(), "a.log", 0);
        EXPECT_EQ(zvlog_api_getLoglevel(), kept);
    }
    EXPECT_EQ(text(), "");
}

TEST_F(Log, CreatesMissingDirectoriesAndAppendsAfterASecondInit) {
    const fs::path deep = dir / "x" / "y";
    for (const char* line : {"one\r\n", "two\r\n"}) {
        EXPECT_EQ(zvlog_api_init(4, deep.c_str(), "a.log", 0), 0);
        zvlog_innerapi_file("%s", line);
        zvlog_api_deinit();
        zvlog_innerapi_file("lost");
    }
    EXPECT_EQ(read_file(deep / "a.log"), "one\r\ntwo\r\n");
    EXPECT_EQ(flag_stdPrint, 0);
}

TEST_F(Log, TakesTheDirectoryFromTheEnvironmentUnlessTheNameIsAbsolute) {
    setenv("ZVLOG_DIR", (dir / "env").c_str(), 1);
    EXPECT_EQ(zvlog_api_init(4, "/nonexistent/zv", "a.log", 0), 0);
    EXPECT_TRUE(fs::exists(dir / "env" / "a.log"));
    EXPECT_EQ(zvlog_api_init(4, "/nonexistent/zv", (dir / "b.log").c_str(), 0), 0);
    EXPECT_TRUE(fs::exists(dir / "b.log"));
}

TEST_F(Log, ReportsAFileThatCannotBeOpenedOnce) {
    std::ofstream(dir / "file") << "in the way";
    testing::internal::CaptureStderr();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(zvlog_api_init(4, (dir / "file").c_str(), "a.log", 0), -1);
        zvlog_innerapi_file("still harmless");
    }
    const std::string report = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(report.begin(), report.end(), '\n'), 1) << report;
    EXPECT_NE(report.find((dir / "file/a.log").string()), std::string::npos) << report;

    testing::internal::CaptureStderr();
    EXPECT_EQ(open(std::string(5000, 'n').c_str()), -1);
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
}

TEST_F(Log, AnObserverReadsAlongWithAndWithoutAFile) {
    std::string seen;
    zvlog_ext_setObserver(
        [](void* user, const char* line, size_t length) {
            static_cast<std::string*>(user)->append(line, length);
        },
        &seen);
    zvlog_innerapi_file("one\r\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(zvlog_api_init(4, "/proc/none", "a.log", 0), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    open();
    zvlog_innerapi_file("%s\r\n", "two");
    zvlog_innerapi_bufHex("dump", "ABC", 3, nullptr, 0);
    zvlog_ext_setObserver(nullptr, nullptr);
    zvlog_innerapi_file("three\r\n");
    EXPECT_EQ(seen.substr(0, 10), "one\r\ntwo\r\n");
    EXPECT_NE(seen.find("|ABC|\r\n"), std::string::npos) << seen;
    EXPECT_EQ("one\r\n" + text(), seen + "three\r\n");
}

TEST_F(Log, WritesTextsOfAnyLength) {
    open();
    std::string expected;
    for (const size_t length : {0u, 1u, 1021u, 1022u, 1023u, 300000u}) {
        const std::string line(length, 'x');
        zvlog_innerapi_file("%s\r\n", line.c_str());
        expected += line + "\r\n";
    }
    const char* no_format = nullptr;
    zvlog_innerapi_file(no_format, 1);
    EXPECT_EQ(text(), expected);
}

TEST_F(Log, ReportsAFullDeviceOnceAndKeepsErrno) {
    ASSERT_EQ(open("/dev/full"), 0);
    testing::internal::CaptureStderr();
    for (int i = 0; i < 2; ++i) {
        errno = EAGAIN;
        zvlog_innerapi_file("lost");
        zvlog_innerapi_bufHex("lost", nullptr, 0, nullptr, 0);
        EXPECT_EQ(errno, EAGAIN);
    }
    const std::string report = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(report.begin(), report.end(), '\n'), 1) << report;
}

TEST_F(Log, RotatesBySizeAndKeepsTheGenerationsAskedFor) {
    zvlog_ext_setRotation(10, 7);
    setenv("ZVLOG_GENERATIONS", "2", 1);
    setenv("ZVLOG_MAX_BYTES", "junk", 1);
    open();
    zvlog_innerapi_file("a first text beyond the limit");
    EXPECT_FALSE(fs::exists(dir / "a.log.1")) << "an empty file is no generation";
    for (const char* line : {"22222", "333333", "4444", "a text beyond the limit", "6"}) {
        zvlog_innerapi_file("%s", line);
    }
    EXPECT_EQ(text(), "6");
    EXPECT_EQ(text("a.log.1"), "a text beyond the limit");
    EXPECT_EQ(text("a.log.2"), "3333334444");
    EXPECT_FALSE(fs::exists(dir / "a.log.3"));
}

TEST_F(Log, WithoutGenerationsTheFileIsEmptied) {
    zvlog_ext_setRotation(4, 0);
    open();
    for (const char* line : {"aaa", "bbb"})
        zvlog_innerapi_file("%s", line);
    EXPECT_EQ(text(), "bbb");
    EXPECT_FALSE(fs::exists(dir / "a.log.1"));
}

TEST_F(Log, RotationFollowsAFileMovedByOthersAndSparesPipes) {
    zvlog_ext_setRotation(4, 3);
    open();
    zvlog_innerapi_file("aaa");
    fs::rename(dir / "a.log", dir / "moved");
    std::ofstream(dir / "a.log") << "X";
    zvlog_innerapi_file("bbb");
    EXPECT_EQ(text("moved"), "aaa");
    EXPECT_EQ(text(), "Xbbb");

    ASSERT_EQ(mkfifo((dir / "pipe").c_str(), 0600), 0);
    const int reader = ::open((dir / "pipe").c_str(), O_RDONLY | O_NONBLOCK);
    open("pipe");
    for (int i = 0; i < 5; ++i)
        zvlog_innerapi_file("ccc");
    EXPECT_TRUE(fs::is_fifo(dir / "pipe"));
    ::close(reader);
}

TEST_F(Log, LinesAndDumpsOfSeveralThreadsStayWhole) {
    constexpr int kThreads = 4, kRounds = 1000;
    zvlog_ext_setRotation(64 * 1024, ZVLOG_MOST_GENERATIONS);
    open();
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            const std::string body(static_cast<size_t>(20 + t), static_cast<char>('a' + t));
            for (int i = 0; i < kRounds; ++i) {
                zvlog_innerapi_file("%s[INFO]%s\r\n", zvlog_innerapi_logTime(), body.c_str());
                zvlog_innerapi_bufHex(body.c_str(), body.data(), 20, nullptr, 0);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    zvlog_api_deinit();

    std::string all;
    for (int g = 99; g >= 0; --g)
        all += text(g == 0 ? "a.log" : ("a.log." + std::to_string(g)).c_str());
    const std::string stamp = R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3})";
    const std::regex unit(stamp +
                          R"((\[INFO\](\w)\2+|\[HEX\]\[(\w)\3+\]20 bytes\r\n)"
                          R"(0{8}  [0-9a-f ]+\|\3{16}\|\r\n0{6}10  [0-9a-f ]+\|\3{4}\|)\r\n)");
    EXPECT_EQ(std::distance(std::sregex_iterator(all.begin(), all.end(), unit), {}),
              kThreads * kRounds * 2);
    EXPECT_EQ(std::regex_replace(all, unit, ""), "");
}

TEST_F(Log, HexDumpGoesToFileAndEchoWithOffsetsAndAscii) {
    zvlog_api_init(1, nullptr, nullptr, 0);
    EXPECT_NE(flag_stdPrint, 0);
    open();
    EXPECT_NE(flag_stdPrint, 0) << "opening a file leaves the echo as it is";
    const std::vector<uint8_t> data = {'G',  0x40, 0,   0x10, 0x1F, 0x20, 0x7E, 0x7F, 0x80,
                                       0xFF, 'a',  'b', 'c',  'd',  'e',  'f',  'Z'};
    testing::internal::CaptureStdout();
    zvlog_innerapi_bufHex("PAT", data.data(), static_cast<int>(data.size()), "parse", 42);
    zvlog_innerapi_bufHex(nullptr, nullptr, 5, nullptr, 0);
    zvlog_innerapi_bufHex("neg", data.data(), -1, nullptr, 0);
    zvlog_api_setLoglevel(0);
    zvlog_innerapi_bufHex("silent", data.data(), 4, nullptr, 0);
    const std::string echo = testing::internal::GetCapturedStdout();
    const std::string dump =
        "[HEX][PAT][parse 42]17 bytes\r\n"
        "00000000  47 40 00 10 1f 20 7e 7f  80 ff 61 62 63 64 65 66  |G@... ~...abcdef|\r\n"
        "00000010  5a                                                |Z|\r\n";
    EXPECT_EQ(text().substr(23, dump.size()), dump);
    EXPECT_EQ(text().size(), dump.size() + 23 + 2 * 23 + sizeof("[HEX][]5 bytes\r\n") - 1 +
                                 sizeof("[HEX][neg]-1 bytes\r\n") - 1);
    EXPECT_EQ(echo, text());
}

TEST_F(Log, TimeStampsSurviveTheNextThreeOfTheirThread) {
    std::set<const char*> texts;
    for (int i = 0; i < 4; ++i)
        texts.insert(zvlog_innerapi_logTime());
    EXPECT_EQ(texts.size(), 4u);
    std::thread([&] { EXPECT_EQ(texts.count(zvlog_innerapi_logTime()), 0u); }).join();
    const std::string copy = *texts.begin();
    std::tm now{};
    const std::time_t seconds = std::time(nullptr);
    localtime_r(&seconds, &now);
    EXPECT_EQ(copy.substr(0, 4), std::to_string(now.tm_year + 1900));
}

TEST_F(Log, CountsWordsIgnoringCase) {
    const auto count = [](const char* list, const char* word) {
        return zvlog_api_strCasestrNum(list, word, 1, 1);
    };
    EXPECT_EQ(count("mpegts,ZVSI", "MPEGTS"), 1);
    EXPECT_EQ(count("zvsi zvSI,ZVSI", "zvsi"), 3);
    EXPECT_EQ(count("aaaa", "aa"), 2);
    EXPECT_EQ(count("[\\]", "{|}"), 0) << "only letters have a case";
    EXPECT_EQ(count("FL", "FLV"), 0);
    EXPECT_EQ(count("FLV", ""), 0);
    EXPECT_EQ(count(nullptr, "FLV") + count("FLV", nullptr), 0);
}

TEST_F(Log, RendersTheWholeRangeOfNumbers) {
    char buf[32];
    using Limits = std::numeric_limits<int64_t>;
    EXPECT_STREQ(zvlog_innerapi_num2str(buf, Limits::min()), "-9223372036854775808");
    EXPECT_STREQ(zvlog_innerapi_num2str(buf, Limits::max()), "9223372036854775807");
    EXPECT_STREQ(zvlog_innerapi_num2str(buf, 0), "0");
    EXPECT_EQ(zvlog_innerapi_num2str(nullptr, 1), nullptr);
}

TEST_F(Log, AvLogPrintsOnStderrWhatTheLevelLetsThrough) {
    const char* no_format = nullptr;
    zvlog_api_setLoglevel(1);
    testing::internal::CaptureStderr();
    av_log(nullptr, 16, "put_bits %s\n", "full");
    av_log(nullptr, 17, "a warning\n");
    av_log(nullptr, 0, no_format, 1);
    const std::string error = testing::internal::GetCapturedStderr();
    EXPECT_EQ(error.substr(23), "[ERROR]put_bits full\n");
    zvlog_api_setLoglevel(6);
    testing::internal::CaptureStderr();
    for (const int level : {24, 32, 40, 48, 56})
        av_log(nullptr, level, ";");
    EXPECT_EQ(
        std::regex_replace(testing::internal::GetCapturedStderr(), std::regex("[-0-9:. ]{23}"), ""),
        "[WARN];[INFO];[DEBUG];[VERBOSE];[TRACE];");
}

}  // namespace
