// SPDX-License-Identifier: MIT
// The tool as a person at a terminal meets it: help, colours, columns, and what -v tells of damage.
#include "support/flv_builder.h"
#include "support/tool_run.h"
#include "support/ts_builder.h"

namespace {

using namespace zvtest;
using nlohmann::json;

constexpr size_t kMiddle = 800 * 188;  // a packet start in the middle of single.ts

class Terminal : public ToolTest {
  protected:
    // What the tool writes on a terminal.
    std::string typed(const std::string& arguments, const std::string& setting = "") const {
        return shell(setting + " TERM=xterm script -qec \"'" ZV_PROBE_BINARY "' " + arguments +
                     "\" /dev/null < /dev/null")
            .out;
    }
};

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

TEST_F(Terminal, HelpOfEveryCommandFitsAScreen) {
    for (const char* command :
         {"", "probe", "monitor", "extract", "rtp", "pace", "remap", "flv-meta", "build",
          "build pat", "build pmt", "build sdt", "build null"}) {
        const Outcome help = shell(std::string("zvprobe ") + command + " --help");
        EXPECT_EQ(help.status, 0);
        const auto lines = lines_of(help.out);
        EXPECT_LT(lines.size(), 24u) << help.out;
        for (const std::string& line : lines)
            EXPECT_LE(line.size(), 80u) << line;
        const std::string name = command;
        EXPECT_EQ(lines.back().find("1 errors") != std::string::npos,
                  name.empty() || name == "probe");
        EXPECT_EQ(lines.back().find("4 unknown") != std::string::npos, !name.starts_with("build"));
    }
}

TEST_F(Terminal, ColoursAreForTerminalsThatWantThem) {
    if (shell("script -qec true /dev/null").status != 0) GTEST_SKIP() << "no pseudo-terminals";
    const std::string ts = media("single.ts");
    for (const std::string& command :
         {ts, media("h264-aac.flv"), media("mpeg1-layer2.mp2"), "--stats " + ts, "monitor " + ts,
          "extract " + ts + " es", "rtp " + ts}) {
        EXPECT_NE(typed(command).find("\x1b[36m"), std::string::npos) << command;
        EXPECT_NE(typed(command, "NO_COLOR=").find("\x1b[36m"), std::string::npos) << command;
        const std::string plain = typed(command, "NO_COLOR=1");
        EXPECT_EQ(plain.find('\x1b'), std::string::npos) << plain;
        EXPECT_GT(plain.size(), 200u) << command;
        EXPECT_EQ(shell("zvprobe " + command).out.find('\x1b'), std::string::npos) << command;
    }
    EXPECT_NE(typed("rtp " + ts, "NO_COLOR=1").find("\n  PAT          period "), std::string::npos);
}

TEST_F(Terminal, ColumnsStandWhateverTheNamesAre) {
    Amf names = Amf().string("onMetaData").object();
    const std::string keys[] = {"k", "\u043a\u043b\u044e\u0447", "\u540d\u524d",
                                std::string(90, 'n')};
    for (const std::string& key : keys)
        names.boolean(key, 1);
    const Bytes tag = script_tag(names.end());
    const std::string out = shell("zvprobe " + file(std::string("FLV\1\5\0\0\0\11\0\0\0\0", 13) +
                                                    std::string(tag.begin(), tag.end())))
                                .out;
    for (const char* line :
         {"  k                                         true\n",
          "  \u043a\u043b\u044e\u0447                                      true\n",
          "  \u540d\u524d                                      true\n",
          "nn\n                                                         true\n"})
        EXPECT_NE(out.find(line), std::string::npos) << out;
}

TEST_F(Terminal, FindingsNameSourceByteAndPid) {
    std::string bytes = read_file(media("single.ts"));
    bytes[8648 + 13] ^= 1;   // in a PAT
    bytes[11844 + 20] ^= 4;  // in a PMT
    bytes.insert(kMiddle + 30, 37, '\x11');
    bytes.erase(1200 * 188 + 37, 5 * 188);
    bytes.erase(bytes.size() - 50);
    const std::string expected =
        "zvprobe: stream: byte 8648, PID 0: wrong CRC in a section of table 0x00\n"
        "zvprobe: stream: byte 11844, PID 0x1000: wrong CRC in a section of table 0x02\n"
        "zvprobe: stream: byte 150588: sync lost\n"
        "zvprobe: stream: byte 150625: 37 bytes skipped, in sync again\n"
        "zvprobe: stream: byte 225637, PID 0x100: continuity 14 after 8\n"
        "zvprobe: stream: byte 314561: 138 bytes of a packet that is cut off\n";
    EXPECT_EQ(shell("zvprobe -v " + file(bytes)).err, expected);
    EXPECT_EQ(shell("zvprobe stream").err, "");
    const json tables = account("stream")["mpegts"]["tables"];
    EXPECT_EQ(tables["crc_error_list"], json::parse(R"([{"offset": 8648, "pid": 0, "table_id": 0},
                              {"offset": 11844, "pid": 4096, "table_id": 2}])"));
    for (size_t at = bytes.size() / 2; at > kMiddle / 2; at -= size_t{8} * 188)
        bytes.insert(at, 1, 'x');
    const auto many = lines_of(shell("zvprobe -v " + file(bytes)).err);
    EXPECT_EQ(many.size(), 101u);
    EXPECT_TRUE(many.back().ends_with(" more")) << many.back();
}

TEST_F(Terminal, FindingsOfOtherFormatsNameTheByte) {
    std::string flv = read_file(media("h264-aac.flv"));
    flv[13 + 308 + 64] ^= 1;
    EXPECT_EQ(shell("zvprobe -v " + file(flv.substr(0, 60000))).err,
              "zvprobe: stream: byte 382: size word 60 behind a tag of 61 bytes\n"
              "zvprobe: stream: byte 59241: the tag is cut off\n");
    const std::string audio = read_file(media("mpeg1-layer2.mp2")).insert(576 * 9, 37, 'x');
    EXPECT_EQ(shell("zvprobe -v " + file(audio.substr(0, 9999))).err,
              "zvprobe: stream: byte 5184: 37 bytes of no frame skipped\n"
              "zvprobe: stream: byte 9829: the frame is cut off\n");
}

// Three sections behind each other: 1500 bytes in nine packets, the next two in the last of them.
TEST_F(Terminal, SectionsAreFollowedOverPackets) {
    Bytes sections;
    for (const size_t size : {1500u, 30u, 900u})
        append(sections, Section(0x50, Bytes(size - 7, 'e')));
    TsStream stream;
    for (size_t at = 0; at < sections.size();) {
        TsPacket packet(0x12);
        Bytes payload;
        if (at == 0 || (at < 1500 && at + 184 > 1500)) {
            packet.start();
            payload.push_back(static_cast<uint8_t>(at == 0 ? 0 : 1500 - at));
        }
        const size_t count = std::min(184 - payload.size(), sections.size() - at);
        std::copy_n(&sections[at], count, std::back_inserter(payload));
        stream.add(packet.payload(payload));
        at += count;
    }
    const std::string packets(stream.bytes().begin(), stream.bytes().end());
    const size_t whole = read_file(media("single.ts")).size();
    for (const auto& [damaged, section_at] :
         {std::pair(size_t{188 * 8 - 1}, 0u), {188 * 8 + 40, 188u * 8}, {188 * 9 + 90, 188u * 8}}) {
        std::string bytes = read_file(media("single.ts")) + packets;
        EXPECT_EQ(shell("zvprobe --strict " + file(bytes)).status, 0);
        bytes[whole + damaged] ^= 1;
        const json tables = account(file(bytes))["mpegts"]["tables"];
        EXPECT_EQ(tables["crc_errors"], 1) << damaged;
        EXPECT_EQ(tables["crc_error_list"][0]["offset"], whole + section_at) << damaged;
        bytes.erase(whole + 188 * 3, 188);  // of a section with a hole the CRC is not asked
        EXPECT_EQ(account(file(bytes))["mpegts"]["tables"]["crc_errors"],
                  damaged < 188 * 8 ? 0 : 1);
    }
}

// Each fault alone, so that none hides behind another.
TEST_F(Terminal, StrictFindsDamagedTablesAndLostOnes) {
    const std::string whole = read_file(media("three-programs.ts"));
    EXPECT_EQ(shell("zvprobe --strict '" + media("three-programs.ts") + "'").status, 0);
    for (const std::string& start : {std::string("\x47\x40\0", 3), std::string("\x47\x50\1", 3),
                                     std::string("\x47\x40\x11", 3)}) {
        const size_t late = whole.rfind(start);
        std::string bytes = whole;
        bytes[late + 20] ^= 0x10;
        EXPECT_EQ(shell("zvprobe --strict " + file(bytes)).status, 1) << late;
        EXPECT_EQ(account("stream")["mpegts"]["tables"]["crc_errors"], 1) << late;
        const size_t middle = whole.find(start, whole.size() / 2);
        EXPECT_EQ(shell("zvprobe --strict " + file(bytes.erase(middle, 188))).status, 1);
        EXPECT_EQ(account("stream")["mpegts"]["tables"]["continuity"]["errors"], 1) << middle;
    }
}

}  // namespace
