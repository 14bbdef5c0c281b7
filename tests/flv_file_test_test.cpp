// SPDX-License-Identifier: MIT
// The FLV file test, which ends its process: each run is a child whose console output is kept.
#include <flv.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "support/flv_builder.h"

namespace {

using zvtest::Bytes;

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
    FILE* output = tmpfile();
    const pid_t child = fork();
    if (child == 0) {
        dup2(fileno(output), STDOUT_FILENO);
        flv_api_test(4, url.c_str());
        fflush(stdout);
        _exit(kReturned);
    }
    int status = 0;
    waitpid(child, &status, 0);
    Outcome result = {WIFEXITED(status) ? WEXITSTATUS(status) : -1, {}};
    rewind(output);
    for (int c = 0; (c = fgetc(output)) != EOF;)
        result.output.push_back(static_cast<char>(c));
    fclose(output);
    return result;
}

Outcome run_on(const Bytes& bytes) {
    const std::string path = std::filesystem::temp_directory_path() /
                             ("flv_file_test." + std::to_string(getpid()) + ".flv");
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    const Outcome result = run(path);
    std::filesystem::remove(path);
    return result;
}

// File header, first size word and so many audio tags, the last with a body of its own size.
Bytes file_of(int tags, size_t last_body = 3) {
    Bytes bytes{'F', 'L', 'V', 1, 5, 0, 0, 0, 9, 0, 0, 0, 0};
    for (int i = 1; i <= tags; ++i) {
        const Bytes tag = zvtest::audio_tag(Bytes(i == tags ? last_body : 3, 0x2E));
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

TEST(FlvFileTest, EndsInOrderWhereTheSourceEnds) {
    const Outcome short_one = run_on({'F', 'L', 'V'});
    EXPECT_EQ(short_one.status, 0);
    EXPECT_EQ(short_one.count("Read error:3"), 1);
    const Outcome three = run_on(file_of(3));
    EXPECT_EQ(three.status, 0);
    EXPECT_EQ(three.count("=AUDIO"), 3);
    EXPECT_EQ(three.count("Read error:0 11"), 1);
    Bytes bytes = file_of(3);
    bytes.pop_back();
    bytes.pop_back();
    const Outcome truncated = run_on(bytes);
    EXPECT_EQ(truncated.count("=AUDIO"), 2);
    EXPECT_EQ(truncated.count("Read error:5 7"), 1);
    EXPECT_EQ(run_on(Bytes(bytes.begin(), bytes.begin() + 11)).count("Read error:2"), 1);
}

TEST(FlvFileTest, RefusesABodyThatIsLargerThanItsBuffer) {
    EXPECT_EQ(run_on(file_of(2, 10236)).count("=AUDIO"), 2);
    const Outcome refused = run_on(file_of(2, 10237));
    EXPECT_EQ(refused.status, 0);
    EXPECT_EQ(refused.count("=AUDIO"), 1);
    EXPECT_EQ(refused.count("Read error:0 10241"), 1);
}

TEST(FlvFileTest, ReturnsOnlyForAnUnknownScheme) {
    const Outcome unknown = run("nosuch://x");
    EXPECT_EQ(unknown.status, kReturned);
    EXPECT_EQ(unknown.count("Not find nosuch function"), 1);
    EXPECT_EQ(run("/nosuch/file.flv").status, 0);
}

}  // namespace
