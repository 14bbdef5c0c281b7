// SPDX-License-Identifier: MIT
// The tool as a person at a terminal meets it: help, colours, columns, and what -v tells of damage.
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <regex>
#include <thread>

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
    std::string typed(const std::string& arguments, const std::string& settings = "") const {
        const int keyboard = posix_openpt(O_RDWR | O_NOCTTY);
        EXPECT_TRUE(keyboard >= 0 && grantpt(keyboard) == 0 && unlockpt(keyboard) == 0);
        const std::string name = ptsname(keyboard);
        const int screen = open(name.c_str(), O_WRONLY | O_NOCTTY);
        EXPECT_GE(screen, 0) << name;
        std::string text;
        std::thread reader([&] {
            char piece[4096];
            for (ssize_t n; (n = read(keyboard, piece, sizeof piece)) > 0;)
                text.append(piece, static_cast<size_t>(n));
        });
        shell("export TERM=xterm " + settings + "; zvprobe " + arguments + " > " + name);
        close(screen);
        reader.join();
        close(keyboard);
        return text;
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
         {"", "probe", "monitor", "extract", "rtp", "pace", "remap", "flv-meta", "mp3-fix", "build",
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
    const std::string ts = media("single.ts");
    for (const std::string& command :
         {ts, media("h264-aac.flv"), media("mpeg1-layer2.mp2"), "--stats " + ts, "monitor " + ts,
          "extract " + ts + " es", "rtp " + ts}) {
        EXPECT_NE(typed(command).find("\x1b[36m"), std::string::npos) << command;
        EXPECT_NE(typed(command, "NO_COLOR=").find("\x1b[36m"), std::string::npos) << command;
        const std::string plain = typed(command, "NO_COLOR=1");
        EXPECT_EQ(plain.find('\x1b'), std::string::npos) << plain;
        EXPECT_EQ(typed(command, "TERM=dumb").find('\x1b'), std::string::npos) << command;
        EXPECT_GT(plain.size(), 200u) << command;
        EXPECT_EQ(shell("zvprobe " + command).out.find('\x1b'), std::string::npos) << command;
    }
    EXPECT_NE(typed("--stats " + ts, "NO_COLOR=1").find("\n  PAT          period "),
              std::string::npos);
}

// Thirty programmes with long names, and packets on every PID there is.
TEST_F(Terminal, TransportStreamReportsFitAHundredColumns) {
    std::string make = "(zvprobe build pat";
    for (int i = 1; i <= 30; ++i)
        make += " --program " + std::to_string(i) + ":" + std::to_string(100 * i);
    make += " - ";
    for (int i = 100; i <= 3000; i += 100) {
        const std::string video = std::to_string(i + 1);
        make += "&& zvprobe build pmt --program " + std::to_string(i / 100) + " --pmt " +
                std::to_string(i) + " --pcr " + video + " --stream 27:" + video +
                " --stream 3:" + std::to_string(i + 2) +
                ":0a08656e6701667261010a04737061000a04706f7201 - ";
    }
    make +=
        "&& zvprobe build sdt --service 7 --provider $(printf %060d 1) --name $(printf "
        "%060d 2) -) > crowded";
    shell(make);
    std::string noise = read_file(dir_ / "crowded");
    ASSERT_GT(noise.size(), 31u * 188);
    for (unsigned pid = 0; pid < 8192; ++pid)
        noise += std::string("\x47", 1) + static_cast<char>(pid >> 8) + static_cast<char>(pid) +
                 static_cast<char>(0x10 | (pid & 15)) + std::string(184, '\x11');
    for (const std::string& source :
         {file(noise), std::string("crowded"), media("eight-streams.ts"), media("single.ts")}) {
        const auto lines = lines_of(shell("zvprobe --resolver -q '" + source + "'").out);
        EXPECT_LT(lines.size(), 350u) << source;
        for (const std::string& line : lines) {
            const bool free = line.starts_with("  stream info") || line.starts_with('/');
            EXPECT_TRUE(free || line.size() <= 100) << line;
        }
    }
    const std::string text = shell("zvprobe stream").out;
    EXPECT_TRUE(std::regex_search(text, std::regex("and [0-9]{4} more unreferenced, ")));
    EXPECT_TRUE(std::regex_search(text, std::regex("and 22 more pmt, [0-9]+ packets")));
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

// Without the time of an event.
std::string untimed(const std::string& line) {
    return std::regex_replace(line, std::regex(", [0-9]+:[0-9:.]+(?=[,:])"), "");
}

TEST_F(Terminal, FindingsNameSourceByteAndPid) {
    std::string bytes = read_file(media("single.ts"));
    bytes[8648 + 13] ^= 1;   // in a PAT
    bytes[11844 + 20] ^= 4;  // in a PMT
    bytes.insert(kMiddle + 30, 37, '\x11');
    bytes.erase(1200 * 188 + 37, 5 * 188);
    bytes.erase(bytes.size() - 50);
    const std::string expected[] = {
        "byte 188, 0:00:00.003, PID 0x0: program_added: programme 1, PMT 0x1000",
        "byte 8648, PID 0x0: CRC_error (2.2): wrong CRC, table 0x00",
        "byte 11844, PID 0x1000: CRC_error (2.2): wrong CRC, table 0x02",
        "byte 150588: Sync_byte_error (1.2): 0x",
        "byte 150588: TS_sync_loss (1.1): sync lost",
        "byte 225637, PID 0x100: Continuity_count_error (1.4): continuity 14 after 8",
        "byte 314561: 138 trailing bytes",
    };
    const std::string told = untimed(shell("zvprobe -v " + file(bytes)).err);
    size_t at = 0;
    for (const std::string& line : expected) {
        at = told.find("zvprobe: stream: " + untimed(line), at);
        EXPECT_NE(at, told.npos) << line << " is not in\n" << told;
    }
    EXPECT_EQ(shell("zvprobe stream").err, "");
    const json stream = account("stream")["mpegts"];
    EXPECT_EQ(stream["crc_error_list"], json::parse(R"([{"offset": 8648, "pid": 0, "table_id": 0},
                              {"offset": 11844, "pid": 4096, "table_id": 2}])"));
    // Every event is told, however many there are.
    for (size_t at_byte = bytes.size() / 2; at_byte > kMiddle / 2; at_byte -= size_t{8} * 188)
        bytes.insert(at_byte, 1, 'x');
    const auto many = lines_of(shell("zvprobe -v " + file(bytes)).err);
    const size_t events = account("stream")["mpegts"]["events"]["total"];
    EXPECT_GT(events, 150u);
    EXPECT_EQ(many.size(), events + 1);
}

TEST_F(Terminal, FindingsOfOtherFormatsNameTheByte) {
    std::string flv = read_file(media("h264-aac.flv"));
    flv[13 + 308 + 64] ^= 1;
    EXPECT_EQ(shell("zvprobe -v " + file(flv.substr(0, 60000))).err,
              "zvprobe: stream: byte 382: size word 60 after a tag of 61 bytes\n"
              "zvprobe: stream: byte 59241: the tag is cut off\n");
    const std::string audio = read_file(media("mpeg1-layer2.mp2")).insert(576 * 9, 37, 'x');
    EXPECT_EQ(shell("zvprobe -v " + file(audio.substr(0, 9999))).err,
              "zvprobe: stream: byte 5184: 37 bytes of no frame skipped\n"
              "zvprobe: stream: byte 9829: the frame is cut off\n");
}

// Three sections in a row: 1500 bytes in nine packets, the next two in the last of them.
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
        const json seen = account(file(bytes))["mpegts"];
        EXPECT_EQ(seen["crc_errors"], 1) << damaged;
        EXPECT_EQ(seen["crc_error_list"][0]["offset"], whole + section_at) << damaged;
        EXPECT_EQ(seen["resolver"]["tables"]["crc_error_list"], seen["crc_error_list"]);
        bytes.erase(whole + 188 * 3, 188);  // of a section with a hole the CRC is not asked
        EXPECT_EQ(account(file(bytes))["mpegts"]["crc_errors"], damaged < 188 * 8 ? 0 : 1);
    }
}

// Each fault alone, so that none hides another.
TEST_F(Terminal, StrictFindsDamagedTablesAndLostOnes) {
    const std::string whole = read_file(media("three-programs.ts"));
    EXPECT_EQ(shell("zvprobe --strict '" + media("three-programs.ts") + "'").status, 0);
    for (const std::string& start : {std::string("\x47\x40\0", 3), std::string("\x47\x50\1", 3),
                                     std::string("\x47\x40\x11", 3)}) {
        const size_t late = whole.rfind(start);
        std::string bytes = whole;
        bytes[late + 20] ^= 0x10;
        EXPECT_EQ(shell("zvprobe --strict " + file(bytes)).status, 1) << late;
        EXPECT_EQ(account("stream")["mpegts"]["crc_errors"], 1) << late;
        const size_t middle = whole.find(start, whole.size() / 2);
        EXPECT_EQ(shell("zvprobe --strict " + file(bytes.erase(middle, 188))).status, 1);
        const json tables = account("stream")["mpegts"]["resolver"]["tables"];
        EXPECT_EQ(tables["continuity"]["errors"], 1) << middle;
    }
}

}  // namespace
