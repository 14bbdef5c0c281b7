// SPDX-License-Identifier: MIT
// Where packets start, in streams that made readers disagree: every command finds the same packets
// in them as in the streams without what misleads.
#include <map>

#include "support/tool_run.h"

namespace {

using namespace zvtest;

struct Misleading {
    const char* name;
    std::string clean;
    std::string misleading;
    size_t packet_size;
};

// A reader that takes the first of two columns of sync bytes is four bytes early throughout.
Misleading time_codes_like_sync_bytes() {
    const std::string clean = read_file(media("single-192.m2ts")).substr(0, 160 * 192);
    std::string misleading = clean;
    for (size_t at = 0; at < misleading.size(); at += 192)
        misleading[at] = 0x47;
    return {"time codes begin with 0x47", clean, misleading, 192};
}

// Three false starts at the packet size's distance, and more at others.
Misleading junk_with_sync_bytes() {
    const std::string clean = read_file(media("single.ts")).substr(0, 160 * 188);
    std::string junk(600, '\x55');
    for (const size_t at : {10u, 198u, 386u, 390u, 578u, 599u})
        junk[at] = 0x47;
    return {"junk with false sync bytes", clean, std::string(clean).insert(70 * 188, junk), 188};
}

class Framing : public ToolTest {
  protected:
    // -> what each command makes of a stream, without time codes
    std::map<std::string, std::string> results(const std::string& stream, size_t packet_size) {
        folder_.put("in.ts", stream);
        std::map<std::string, std::string> all;
        all["probe"] = account("in.ts")["mpegts"]["packets"].dump();
        all["pace"] = shell("zvprobe -q pace in.ts").out;
        EXPECT_EQ(shell("zvprobe remap in.ts out.ts --program 77").status, 0);
        const std::string remapped = read_file(dir_ / "out.ts");
        for (size_t at = packet_size - 188; at < remapped.size(); at += packet_size)
            all["remap"] += remapped.substr(at, 188);
        EXPECT_EQ(shell("rm -rf es; zvprobe extract in.ts es").status, 0);
        for (const auto& entry : std::filesystem::directory_iterator(dir_ / "es"))
            all[entry.path().filename()] = read_file(entry.path());
        return all;
    }
};

TEST_F(Framing, IsTheSameInEveryCommand) {
    for (const Misleading& stream : {time_codes_like_sync_bytes(), junk_with_sync_bytes()}) {
        const auto expected = results(stream.clean, stream.packet_size);
        EXPECT_EQ(expected.at("probe"), "160");
        EXPECT_EQ(expected.at("pace").size(), 160u * 188);
        EXPECT_EQ(expected.at("remap").size(), 160u * 188);
        EXPECT_GE(expected.size(), 5u) << "two streams are extracted";
        EXPECT_TRUE(results(stream.misleading, stream.packet_size) == expected) << stream.name;
    }
}

}  // namespace
