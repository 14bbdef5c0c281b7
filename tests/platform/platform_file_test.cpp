// SPDX-License-Identifier: MIT
// The file handler: files, standard input and output.
#include <fcntl.h>
#include <gtest/gtest.h>

#include "support/folder.h"
#include "support/protocol_source.h"

namespace {

using namespace zvtest;

TEST(ProtocolFile, GivesExactCountsThenTheEnd) {
    const Folder folder;
    const std::string path = folder.put("a b", "0123456789");
    for (const std::string& url : {path, "file:" + path, "file://" + folder / "a%20b"}) {
        Source source(url, ZVPTC_OPEN_READ);
        ASSERT_EQ(source.open(), 0) << url;
        EXPECT_EQ(source.open(), -EBUSY);
        EXPECT_EQ(source.text(7), "0123456");
        EXPECT_EQ(source.read(7), 3);
        EXPECT_EQ(source.read(7), 0);
        EXPECT_EQ(source.write("x"), -EBADF);
        EXPECT_EQ(zvptc_api_matchByName("udp")->close(&source.context), -EBADF);
        EXPECT_EQ(source.close(), 0);
        EXPECT_EQ(source.close(), 0);
        EXPECT_EQ(source.read(1), -EBADF);
        ASSERT_EQ(source.open(), 0) << "a closed context opens again";
    }
}

TEST(ProtocolFile, NamesWhatIsWrong) {
    const Folder folder;
    EXPECT_EQ(open_result(folder.path()), -EISDIR);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_EQ(open_result(folder / "none"), -ENOENT);
    EXPECT_EQ(open_result(folder / "none", ZVPTC_OPEN_WRITE), -ENOENT);
    ZvptcUrlContext context{};
    strcpy(context.url, "udp://127.0.0.1:9");
    EXPECT_EQ(zvptc_api_matchByPtcindex(0)->open(&context), -EINVAL) << "another protocol's";
}

TEST(ProtocolFile, IsCreatedAndEmptiedOnlyWhenAsked) {
    const Folder folder;
    const std::string path = folder / "out";
    const auto write_over = [&](uint32_t flags, const std::string& bytes) {
        Source source(path, ZVPTC_OPEN_WRITE | flags);
        EXPECT_EQ(source.open(), 0);
        EXPECT_EQ(source.write(bytes), static_cast<int>(bytes.size()));
        EXPECT_EQ(source.read(1), -EBADF);
        EXPECT_EQ(source.close(), 0);
        return folder.get("out");
    };
    EXPECT_EQ(write_over(ZVPTC_OPEN_CREATE, "long text"), "long text");
    EXPECT_EQ(write_over(0, "LONG"), "LONG text");
    EXPECT_EQ(write_over(ZVPTC_OPEN_TRUNCATE, "x"), "x");
    Source full("/dev/full", ZVPTC_OPEN_WRITE);
    ASSERT_EQ(full.open(), 0);
    EXPECT_EQ(full.write("x"), -ENOSPC);
}

TEST(ProtocolFile, StandardInputIsReadToTheEndAndLeftOpen) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const int saved = dup(STDIN_FILENO);
    dup2(ends[0], STDIN_FILENO);
    ::close(ends[0]);
    {
        Source source("-", 0, 100);
        ASSERT_EQ(source.open(), 0);
        EXPECT_EQ(source.read(1), -ETIMEDOUT);
        const Thread writer([&] {
            EXPECT_EQ(::write(ends[1], "abc", 3), 3);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            EXPECT_EQ(::write(ends[1], "def", 3), 3);
            ::close(ends[1]);
        });
        EXPECT_EQ(source.text(5), "abcde");
        EXPECT_EQ(source.text(5), "f");
        EXPECT_EQ(source.read(5), 0);
    }
    EXPECT_GE(fcntl(STDIN_FILENO, F_GETFD), 0);
    EXPECT_GE(dup2(saved, STDIN_FILENO), 0);
    ::close(saved);
}

TEST(ProtocolFile, APipeWithoutReaderIsAnErrorNotADeath) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ::close(ends[0]);
    const int saved = dup(STDOUT_FILENO);
    dup2(ends[1], STDOUT_FILENO);
    Source out("-", ZVPTC_OPEN_WRITE);
    const int opened = out.open();
    const int written = out.write("x");
    out.close();
    dup2(saved, STDOUT_FILENO);
    ::close(saved);
    ::close(ends[1]);
    EXPECT_EQ(opened, 0);
    EXPECT_EQ(written, -EPIPE);
}

}  // namespace
