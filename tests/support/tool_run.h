// SPDX-License-Identifier: MIT
// Runs the command-line tool in a directory of its own, as a user's shell would.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

#include "folder.h"

namespace zvtest {

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

inline std::string media(const std::string& name) {
    return std::string(ZV_TEST_MEDIA) + "/" + name;
}

class ToolTest : public testing::Test {
  protected:
    // Runs a shell command line in which "zvprobe" stands for the tool.
    Outcome shell(const std::string& line) const {
        const std::string command = "zvprobe() { '" ZV_PROBE_BINARY "' \"$@\"; }; cd '" +
                                    dir_.string() + "'; (" + line + ") 2>stderr";
        FILE* const pipe = popen(command.c_str(), "r");
        Outcome outcome = {};
        char piece[4096];
        for (size_t n; (n = fread(piece, 1, sizeof piece, pipe)) > 0;)
            outcome.out.append(piece, n);
        outcome.status = WEXITSTATUS(pclose(pipe));
        outcome.err = read_file(dir_ / "stderr");
        return outcome;
    }

    // Writes a file in the directory; -> its name, "stream"
    std::string file(const std::string& bytes) const {
        return folder_.put("stream", bytes), "stream";
    }

    // The tool's account of one source.
    nlohmann::json account(const std::string& path, const std::string& options = "") const {
        const Outcome outcome = shell("zvprobe --json " + options + " '" + path + "'");
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return nlohmann::json::parse(outcome.out).at("sources").at(0);
    }

    const Folder folder_;
    const std::filesystem::path dir_ = folder_.path();
};

}  // namespace zvtest
