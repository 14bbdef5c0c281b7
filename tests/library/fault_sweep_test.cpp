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
#include <iterator>
#include <string>

#include "flv.h"
#include "mpegts.h"
#include "support/failing_memory.h"
#include "support/folder.h"
#include "support/log_recorder.h"
#include "support/memory_source.h"
#include "support/test_media.h"
#include "ts_tools.h"
#include "zvprotocol.h"

namespace {

using namespace zvtest;

enum Tool { kExtract, kMonitor, kDemux };

int run(Tool tool, const Folder& folder) {
    if (tool == kExtract) return mpegts_api_tsExtract(3, "x", folder.path());
    if (tool == kMonitor) return mpegts_api_tsMonitor(3, "x", 1);
    return mpegts_api_rtpDemux(3, "x", (folder / "out.ts").c_str());
}

auto open_files() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

// Nothing may stay open or allocated.
int run_and_look(Tool tool, const Folder& folder, const MemorySource& source,
                 const FailingMemory& memory) {
    const auto open_before = open_files();
    const int result = run(tool, folder);
    EXPECT_EQ(open_files(), open_before);
    EXPECT_EQ(source.open, 0);
    EXPECT_EQ(memory.live, 0);
    return result;
}

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
    for (const Tool tool : {kExtract, kMonitor, kDemux}) {
        const Folder whole;
        source.fail_read(-1, ReadFault::kNone);
        ASSERT_EQ(run(tool, whole), 0) << tool;
        for (const ReadFault fault :
             {ReadFault::kFails, ReadFault::kInterrupted, ReadFault::kEnds, ReadFault::kShort}) {
            for (int number = 0;; ++number) {
                SCOPED_TRACE(std::to_string(tool) + "/" + std::to_string(static_cast<int>(fault)) +
                             "/" + std::to_string(number));
                const Folder folder;
                const FailingMemory memory;
                log.clear();
                source.fail_read(number, fault);
                const int result = run_and_look(tool, folder, source, memory);
                const bool is_complete = !source.failed || fault == ReadFault::kShort;
                const bool is_cut = fault == ReadFault::kInterrupted && tool != kMonitor;
                const bool is_error =
                    !is_complete && (number == 0 || fault == ReadFault::kFails || is_cut);
                EXPECT_EQ(result, is_error ? kCannotRead : 0);
                EXPECT_EQ(log.count("url_read x failed"), is_error ? 1 : 0);
                EXPECT_TRUE(!is_error || folder.files().empty());
                EXPECT_TRUE(!is_complete || folder.files() == whole.files());
                expect_beginnings(folder, whole);
                if (!source.failed) break;
                ASSERT_LT(number, 1000);
            }
        }
    }
}

// No file may grow beyond so many bytes: a write stops short, the next one fails.
void limit_files_to(rlim_t size) {
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit = {};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = size;
    setrlimit(RLIMIT_FSIZE, &limit);
}

TEST(WriteSweep, AFullDiskLeavesTheFilesFromBeforeWhicheverWriteItStops) {
    const LogRecorder log(1);
    const MemorySource source(short_media());
    for (const Tool tool : {kExtract, kDemux}) {
        const Folder whole;
        ASSERT_EQ(run(tool, whole), 0);
        for (const auto& [name, bytes] : whole.files()) {
            for (const size_t size : {size_t{0}, bytes.size() / 2, bytes.size() - 1}) {
                SCOPED_TRACE(name + "/" + std::to_string(size));
                const Folder folder;
                const FailingMemory memory;
                folder.put(name, "from before");
                const auto before = folder.files();
                limit_files_to(size);
                EXPECT_EQ(run_and_look(tool, folder, source, memory), kCannotWrite);
                limit_files_to(RLIM_INFINITY);
                EXPECT_EQ(folder.files(), before);
                EXPECT_EQ(run(tool, folder), 0);
                EXPECT_TRUE(folder.files() == whole.files());
            }
        }
    }
}

TEST(AllocationSweep, EveryToolTellsItAndGivesAllMemoryBack) {
    const LogRecorder log(3);
    const MemorySource source(short_media());
    for (const Tool tool : {kExtract, kMonitor, kDemux}) {
        int failures = 0;
        for (;; ++failures) {
            SCOPED_TRACE(std::to_string(tool) + "/" + std::to_string(failures));
            const Folder folder;
            const FailingMemory memory(failures);
            const int result = run_and_look(tool, folder, source, memory);
            if (memory.allocations <= failures) {
                EXPECT_EQ(result, 0);
                break;
            }
            EXPECT_TRUE(result == kCannotOpen || result == kCannotWrite) << result;
            EXPECT_TRUE(folder.files().empty());
        }
        EXPECT_GE(failures, 2) << tool;  // its own state and the analyser's context
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
    const Folder folder;
    source.refuses = true;
    EXPECT_EQ(mpegts_api_getTsPktSize("x", nullptr, 0, 0), 0);
    EXPECT_EQ(mpegts_api_getTsPos("x"), -2);
    for (const Tool tool : {kExtract, kMonitor, kDemux})
        EXPECT_EQ(run(tool, folder), kCannotOpen);
    source.refuses = false;
    source.fail_read(0, ReadFault::kShort);  // a third of the head will do
    EXPECT_EQ(mpegts_api_getTsPktSize("x", nullptr, 0, 0), 204);
    EXPECT_EQ(mpegts_api_getTsPos("x"), 0);
    EXPECT_EQ(source.open, 0);
}

MemorySource* flv_source;

// -> exit status of a child that runs the FLV file test, 99 when it left its source open
int status_of_flv_test() {
    const pid_t child = fork();
    if (child == 0) {
        atexit([] {
            if (flv_source->open != 0) _exit(99);
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
