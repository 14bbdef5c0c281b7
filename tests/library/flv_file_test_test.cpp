// SPDX-License-Identifier: MIT
// The FLV file test, which ends its process: each run is a child whose console output is kept.
#include <flv.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "support/flv_builder.h"
#include "support/folder.h"

namespace {

using namespace zvtest;

constexpr int kReturned = 42;

struct Outcome {
    int status;
    std::string output;

    int count(const std::string& text) const {
        int found = 0;
        for (size_t at = 0; (at = output.find(text, at)) != std::string::npos; ++at)
            ++found;
        return found;
    }
};

Outcome run(const std::string& url) {
    testing::internal::CaptureStdout();
    const pid_t child = fork();
    if (child == 0) {
        flv_api_test(4, url.c_str());
        fflush(stdout);
        _exit(kReturned);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, testing::internal::GetCapturedStdout()};
}

Outcome run_on(const Bytes& bytes) {
    const Folder folder;
    return run(folder.put("test.flv", bytes));
}

// File header, first size word and so many audio tags, the last with a body of its own size.
Bytes file_of(int tags, size_t last_body = 3) {
    Bytes bytes{'F', 'L', 'V', 1, 5, 0, 0, 0, 9, 0, 0, 0, 0};
    for (int i = 1; i <= tags; ++i) {
        const Bytes tag = audio_tag(Bytes(i == tags ? last_body : 3, 0x2E));
        bytes.insert(bytes.end(), tag.begin(), tag.end());
    }
    return bytes;
}

TEST(FlvFileTest, PrintsTwentyOneTagsAtMost) {
    const Outcome tags = run_on(file_of(25));
    EXPECT_EQ(tags.status, 0);
    EXPECT_EQ(tags.count("=AUDIO"), 21);
    // Two around the file header, one at the head of each tag and one more between tags.
    EXPECT_EQ(tags.count("================================================"), 2 + 21 + 20);
    EXPECT_EQ(tags.count("Read error"), 0);
}

TEST(FlvFileTest, EndsInOrderWhereTheSourceEndsOrABodyIsLargerThanItsBuffer) {
    Bytes cut = file_of(3);
    cut.resize(cut.size() - 2);
    struct Case {
        Bytes file;
        int tags;
        const char* error;
    };
    for (const auto& [file, tags, error] :
         {Case{{'F', 'L', 'V'}, 0, "Read error:3"}, Case{Bytes(11, 'F'), 0, "Read error:2"},
          Case{file_of(3), 3, "Read error:0 11"}, Case{cut, 2, "Read error:5 7"},
          Case{file_of(2, 10236), 2, "Read error:0 11"},
          Case{file_of(2, 10237), 1, "Read error:0 10241"}}) {
        SCOPED_TRACE(error);
        const Outcome outcome = run_on(file);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.count("=AUDIO"), tags);
        EXPECT_EQ(outcome.count(error), 1);
    }
}

TEST(FlvFileTest, ReturnsOnlyForAnUnknownScheme) {
    const Outcome unknown = run("nosuch://x");
    EXPECT_EQ(unknown.status, kReturned);
    EXPECT_EQ(unknown.count("Not find nosuch function"), 1);
    EXPECT_EQ(run("/nosuch/file.flv").status, 0);
}

}  // namespace
