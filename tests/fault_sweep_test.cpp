// SPDX-License-Identifier: MIT
// Every function that reads a source, allocates or writes a file, with the Nth read or allocation
// going wrong, for N = 0, 1, 2 ... until nothing does, or the disk full sooner or later: the caller
// learns of it, nothing is left open, allocated or half written, and the next call works.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>

#include "flv.h"
#include "mpegts.h"
#include "support/failing_memory.h"
#include "support/log_recorder.h"
#include "support/memory_source.h"
#include "support/test_media.h"
#include "ts_tools.h"
#include "zvprotocol.h"

namespace {

using namespace zvtest;
namespace fs = std::filesystem;

class Folder {
  public:
    Folder() {
        std::string name = (fs::temp_directory_path() / "fault_sweep.XXXXXX").string();
        path_ = mkdtemp(name.data());
    }
    ~Folder() { fs::remove_all(path_); }

    std::string path() const { return path_; }
    // Name to content, hidden and temporary files included.
    std::map<std::string, std::string> files() const {
        std::map<std::string, std::string> all;
        for (const auto& entry : fs::directory_iterator(path_)) {
            std::ifstream in(entry.path(), std::ios::binary);
            all[entry.path().filename()] = {std::istreambuf_iterator<char>(in), {}};
        }
        return all;
    }

  private:
    fs::path path_;
};

struct Tool {
    const char* name;
    std::function<int(const std::string& folder)> run;
};

const Tool kTools[] = {
    {"extract",
     [](const std::string& folder) { return mpegts_api_tsExtract(3, "x", folder.c_str()); }},
    {"monitor", [](const std::string&) { return mpegts_api_tsMonitor(3, "x", 1); }},
    {"demux",
     [](const std::string& folder) {
         return mpegts_api_rtpDemux(3, "x", (folder + "/out.ts").c_str());
     }},
};

constexpr int kCannotOpen = -2, kCannotRead = -3, kCannotWrite = -4;

// What a file of a run that ended early holds is the beginning of what it would have held.
void expect_beginnings(const Folder& cut, const Folder& whole) {
    const auto expected = whole.files();
    for (const auto& [name, bytes] : cut.files()) {
        ASSERT_TRUE(expected.contains(name)) << name;
        EXPECT_TRUE(expected.at(name).starts_with(bytes)) << name;
    }
}

// Tables, both streams, and an end in the middle of a packet; few reads, so few runs.
Bytes short_media() {
    Bytes bytes = load_media("single.ts");
    bytes.resize(100'000);
    return bytes;
}

TEST(ReadSweep, EveryToolTellsAFailureAndKeepsNoHalfFile) {
    LogRecorder log(3);
    MemorySource source(short_media());
    for (const Tool& tool : kTools) {
        const Folder whole;
        source.fail_read(-1, ReadFault::kNone);
        ASSERT_EQ(tool.run(whole.path()), 0) << tool.name;
        for (const ReadFault fault :
             {ReadFault::kFails, ReadFault::kInterrupted, ReadFault::kEnds, ReadFault::kShort}) {
            for (int number = 0;; ++number) {
                SCOPED_TRACE(tool.name + std::to_string(static_cast<int>(fault)) + "/" +
                             std::to_string(number));
                const Folder folder;
                const FailingMemory memory;
                log.clear();
                source.fail_read(number, fault);
                const int result = tool.run(folder.path());
                EXPECT_EQ(source.open_sources(), 0);
                EXPECT_EQ(memory.live(), 0);
                const bool is_complete = !source.has_failed() || fault == ReadFault::kShort;
                const bool is_error = !is_complete && (number == 0 || fault == ReadFault::kFails);
                EXPECT_EQ(result, is_error ? kCannotRead : 0);
                EXPECT_EQ(log.count("url_read x failed"), is_error ? 1 : 0);
                EXPECT_TRUE(!is_error || folder.files().empty());
                EXPECT_TRUE(!is_complete || folder.files() == whole.files());
                expect_beginnings(folder, whole);
                if (!source.has_failed()) break;
                ASSERT_LT(number, 1000);
            }
        }
    }
}

// No file may grow beyond so many bytes: a write stops short, the next one fails.
class SmallDisk {
  public:
    explicit SmallDisk(rlim_t size) {
        signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit small = {size, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
    }
    ~SmallDisk() { setrlimit(RLIMIT_FSIZE, &before_); }

  private:
    rlimit before_;
};

int run_on_small_disk(const Tool& tool, const Folder& folder, size_t size) {
    const SmallDisk disk(size);
    return tool.run(folder.path());
}

TEST(WriteSweep, AFullDiskLeavesNoFileWhicheverWriteItStops) {
    const LogRecorder log(1);
    const MemorySource source(short_media());
    for (const Tool& tool : {kTools[0], kTools[2]}) {
        const Folder whole;
        ASSERT_EQ(tool.run(whole.path()), 0);
        for (const auto& [name, bytes] : whole.files()) {
            for (const size_t size : {size_t{0}, bytes.size() / 2, bytes.size() - 1}) {
                SCOPED_TRACE(name + "/" + std::to_string(size));
                const Folder folder;
                const FailingMemory memory;
                EXPECT_EQ(run_on_small_disk(tool, folder, size), kCannotWrite);
                EXPECT_TRUE(folder.files().empty());
                EXPECT_EQ(memory.live(), 0);
                EXPECT_EQ(source.open_sources(), 0);
                EXPECT_EQ(tool.run(folder.path()), 0);
                EXPECT_TRUE(folder.files() == whole.files());
            }
        }
    }
}

TEST(AllocationSweep, EveryToolTellsItAndGivesAllMemoryBack) {
    const LogRecorder log(3);
    const MemorySource source(short_media());
    for (const Tool& tool : kTools) {
        int failures = 0;
        for (;; ++failures) {
            SCOPED_TRACE(tool.name + std::to_string(failures));
            const Folder folder;
            const FailingMemory memory(failures);
            const int result = tool.run(folder.path());
            EXPECT_EQ(memory.live(), 0);
            EXPECT_EQ(source.open_sources(), 0);
            if (memory.allocations() <= failures) {
                EXPECT_EQ(result, 0);
                break;
            }
            EXPECT_TRUE(result == kCannotOpen || result == kCannotWrite) << result;
            EXPECT_TRUE(folder.files().empty());
        }
        EXPECT_GE(failures, 2) << tool.name;  // its own state and the analyser's context
    }
    EXPECT_GT(log.count("Malloc "), 0);
}

TEST(Reads, ProbesTellWhichStepFailedAndCloseTheSource) {
    LogRecorder log;
    MemorySource source(load_media("single-204.ts"));
    for (const ReadFault fault : {ReadFault::kFails, ReadFault::kInterrupted, ReadFault::kEnds}) {
        source.fail_read(0, fault);
        EXPECT_EQ(mpegts_api_getTsPktSize("x", nullptr, 0, 0), 0);
        source.fail_read(0, fault);
        EXPECT_EQ(mpegts_api_getTsPktSize2("x", nullptr, 0, 0), 188);
        source.fail_read(0, fault);
        EXPECT_EQ(mpegts_api_getTsPos("x"), -3);
    }
    EXPECT_EQ(log.count("url_read x failed"), 9);
    source.refuse_to_open(true);
    EXPECT_EQ(mpegts_api_getTsPktSize("x", nullptr, 0, 0), 0);
    EXPECT_EQ(mpegts_api_getTsPos("x"), -2);
    for (const Tool& tool : kTools)
        EXPECT_EQ(tool.run("/"), kCannotOpen);
    source.refuse_to_open(false);
    source.fail_read(0, ReadFault::kShort);  // a third of the head will do
    EXPECT_EQ(mpegts_api_getTsPktSize("x", nullptr, 0, 0), 204);
    EXPECT_EQ(mpegts_api_getTsPos("x"), 0);
    EXPECT_EQ(source.open_sources(), 0);
}

MemorySource* flv_source;

// -> exit status of a child that runs the FLV file test, 99 when it left its source open
int status_of_flv_test() {
    const pid_t child = fork();
    if (child == 0) {
        atexit([] {
            if (flv_source->open_sources() != 0) _exit(99);
        });
        flv_api_test(0, "x");
        _exit(1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(Reads, TheFlvFileTestEndsInOrderWhicheverReadFails) {
    const LogRecorder log;
    MemorySource source(load_media("h264-aac.flv"));
    flv_source = &source;
    constexpr int kReads = 2 + 2 * 21;  // two heads, then head and body of a tag
    for (const ReadFault fault : {ReadFault::kFails, ReadFault::kShort}) {
        for (int number = 0; number <= kReads; ++number) {
            source.fail_read(number, fault);
            EXPECT_EQ(status_of_flv_test(), 0) << number;
        }
    }
}

}  // namespace
