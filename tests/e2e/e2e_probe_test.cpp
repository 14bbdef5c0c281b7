// SPDX-License-Identifier: MIT
// The command-line tool from outside: what `zvprobe` prints, and how it exits, on the sample
// streams and on damaged copies of them.
#include <algorithm>
#include <regex>
#include <utility>

#include "support/tool_process.h"
#include "support/tool_run.h"

namespace {

using namespace zvtest;
using nlohmann::json;

constexpr size_t kMiddle = 800 * 188;  // a packet start in the middle of single.ts

class Probe : public ToolTest {
  protected:
    // The tool's account of one transport stream.
    json probe(const std::string& path, const std::string& options = "") const {
        return account(path, options).at("mpegts");
    }
};

// Continuity errors of a PID.
json errors_of(const json& stream, const json& pid) {
    for (const json& seen : stream["pids"])
        if (seen["pid"] == pid) return seen["continuity"]["errors"];
    return nullptr;
}

// "number/pmt/pcr name: pid codec kind errors; ..."
std::string summary(const json& stream, const json& program) {
    std::string text = program["program_number"].dump() + "/" + program["pmt_pid"].dump() + "/" +
                       program["pcr_pid"].dump() + " " +
                       program["service"]["name"].get<std::string>() + ":";
    for (const json& es : program["streams"])
        text += " " + es["pid"].dump() + " " + es["codec"].get<std::string>() + " " +
                es["kind"].get<std::string>() + " " + errors_of(stream, es["pid"]).dump() + ";";
    return text;
}

uint64_t accounted_bytes(const json& stream) {
    return stream["packets"].get<uint64_t>() * stream["packet_size"].get<uint64_t>() +
           stream["sync"]["skipped_bytes"].get<uint64_t>() +
           stream["trailing_bytes"].get<uint64_t>();
}

TEST_F(Probe, DescribesSamplesOfEveryPacketSize) {
    struct Sample {
        const char* name;
        int packet_size, packets, first_sync;
        std::string programs;
    };
    const std::string bars = "1/4096/256 Colour Bars: 256 h264 video 0; 257 aac audio 0;\n";
    const std::string camera = "1/256/4113 Service01: 4113 h264 video 0; 4352 aac audio 0;\n";
    const std::string three =
        "1/4096/256 News: 256 h264 video 0; 257 aac audio 0;\n"
        "2/4097/258 Film: 258 mpeg2video video 0; 259 mp2 audio 0;\n"
        "3/4098/260 Radio: 260 ac3 audio 0;\n";
    // The last packet of 192 bytes counts, though the time code after it never comes.
    for (const auto& [name, packet_size, packets, first_sync, programs] :
         {Sample{"single.ts", 188, 1679, 0, bars}, Sample{"single-204.ts", 204, 1000, 0, bars},
          Sample{"single-192.m2ts", 192, 800, 4, camera},
          Sample{"three-programs.ts", 188, 1681, 0, three}}) {
        const json stream = probe(media(name));
        EXPECT_EQ(stream["packet_size"], packet_size);
        EXPECT_EQ(stream["packets"], packets);
        EXPECT_EQ(stream["sync"]["first_sync_offset"], first_sync);
        EXPECT_EQ(stream["sync"]["skipped_bytes"], 0);
        EXPECT_EQ(stream["trailing_bytes"], 0);
        std::string found;
        for (const json& program : stream["programs"])
            found += summary(stream, program) + "\n";
        EXPECT_EQ(found, programs) << name;
    }
}

TEST_F(Probe, SkipsExactlyTheStrayBytesWhereverTheyStand) {
    const std::string whole = read_file(media("single.ts"));
    for (const size_t inside : {size_t{0}, size_t{1}, size_t{100}, size_t{187}}) {
        std::string bytes = whole;
        const json stream = probe(file(bytes.insert(kMiddle + inside, 37, '\x11')));
        EXPECT_EQ(stream["sync"]["skipped_bytes"], 37) << inside;
        EXPECT_EQ(stream["packets"], 1679) << inside;
        const size_t missed_at = kMiddle + (inside == 0 ? 0 : 188);
        EXPECT_EQ(stream["sync"]["loss_list"][0]["offset"], missed_at) << inside;
    }
}

TEST_F(Probe, AccountsForEveryByteOfAnyPrefix) {
    for (const auto& [name, size] :
         {std::pair("single.ts", 188u), std::pair("single-192.m2ts", 192u),
          std::pair("single-204.ts", 204u)}) {
        const std::string whole = read_file(media(name));
        for (const size_t length : {size * 1, size * 2 + 1, size * 5 - 1, size * 40 + 190}) {
            const json stream = probe(file(whole.substr(0, length)));
            EXPECT_EQ(stream["packets"], length / size) << name << length;
            EXPECT_EQ(accounted_bytes(stream), length) << name << length;
        }
    }
}

// Through windows of a large file, and through a pipe in writes that end anywhere.
TEST_F(Probe, SeesTheSameHoweverTheBytesCome) {
    const std::string whole = read_file(media("three-programs.ts"));
    std::string bytes;
    for (int i = 0; i < 40; ++i)
        bytes += whole.substr(static_cast<size_t>(i));
    const json mapped = probe(file(bytes));
    EXPECT_EQ(mapped["sync"]["losses"], 39);
    EXPECT_EQ(accounted_bytes(mapped), bytes.size());
    for (const char* const feed :
         {"cat stream", "dd if=stream obs=16381 status=none",
          "{ head -c 1 stream; sleep 0.1; tail -c +2 stream | dd obs=997 status=none; }"}) {
        const Outcome piped = shell(std::string(feed) + " | zvprobe --json -");
        EXPECT_EQ(json::parse(piped.out)["sources"][0]["mpegts"], mapped) << feed;
    }
}

TEST_F(Probe, NamesEveryStreamWhereTheResolverKnowsFour) {
    const json stream = probe(media("eight-streams.ts"));
    const json& streams = stream["programs"][0]["streams"];
    ASSERT_EQ(streams.size(), 8u);
    EXPECT_EQ(streams[7]["languages"], json({"qaa"}));
    EXPECT_EQ(stream["resolver"]["programs"][0]["streams"].size(), 4u);
    const std::string text = shell("zvprobe '" + media("eight-streams.ts") + "'").out;
    EXPECT_TRUE(std::regex_search(
        text, std::regex("\n +0x107 +audio .* none +MPEG audio layer 2 44.1 kHz mono qaa\n")));
    EXPECT_EQ(text.find("stream info"), text.npos) << text;
    for (const char* const option : {"--resolver", "--stats"}) {
        const Outcome told =
            shell(std::string("zvprobe ") + option + " '" + media("eight-streams.ts") + "'");
        EXPECT_NE(told.out.find("\n  stream info  format[mpegts]"), text.npos) << told.out;
    }
}

// Each alone, so that none hides another; and what is no error stays none.
TEST_F(Probe, StrictFindsEveryKindOfError) {
    const std::string whole = read_file(media("single.ts"));
    const auto edited = [&whole](auto edit) {
        std::string bytes = whole;
        edit(bytes);
        return bytes;
    };
    const size_t video = whole.find(std::string("\x47\x01\0", 3), kMiddle);
    struct Case {
        const char* what;
        std::string bytes;
        const char* member;  // that counts it
        int count;
    };
    const Case cases[] = {
        {"nothing", whole, "/sync/losses", 0},
        {"a byte error", edited([](auto& b) { b[kMiddle] = 0; }), "/sync/byte_errors", 1},
        {"a sync loss", edited([](auto& b) { b[kMiddle] = b[kMiddle + 188] = 0; }), "/sync/losses",
         1},
        {"a late start", 'x' + whole, "/sync/skipped_bytes", 1},
        {"a cut end", whole.substr(0, whole.size() - 1), "/trailing_bytes", 187},
        {"a marked packet", edited([](auto& b) { b[kMiddle + 1] |= '\x80'; }), "/transport_errors",
         1},
        {"a gap", edited([](auto& b) { b.erase(kMiddle, 188); }), "/events/total", 2},
        {"a wrong CRC", edited([](auto& b) { b[8648 + 13] ^= 1; }), "/crc_errors", 1},
        {"a duplicate", edited([&](auto& b) { b.insert(video, b.substr(video, 188)); }),
         "/sync/losses", 0},
    };
    for (const Case& c : cases) {
        const bool wrong = c.count > 0;
        const Outcome outcome = shell("zvprobe --strict " + file(c.bytes));
        EXPECT_EQ(outcome.status, wrong ? 1 : 0) << c.what << outcome.out;
        EXPECT_EQ(outcome.out.find("\n  errors       none\n") == std::string::npos, wrong)
            << c.what;
        EXPECT_EQ(probe("stream").at(json::json_pointer(c.member)), c.count) << c.what;
    }
}

// three-programs.ts has PCRs too far apart (2.3.a, 2.3.b), and nothing else that counts.
TEST_F(Probe, StrictCountsTheIndicatorsThatArePicked) {
    file("# PCRs of radio\npcr-repetition = 1.5  # seconds\npcr-discontinuity=1.5\n");
    for (const auto& [options, status] :
         {std::pair("", 0),
          {"--indicators 1,3", 0},
          {"--indicators 1,2", 1},
          {"--indicators 2.3", 1},
          {"--indicators 3,2.3.b", 1},
          {"--indicators 2.3.a --limit pcr-repetition=1.5", 0},
          {"--indicators 2 --limits stream", 0},
          {"--indicators 2 --limits stream --limit pcr-discontinuity=0.1", 1}}) {
        const std::string command = std::string("zvprobe --strict ") + options;
        EXPECT_EQ(shell(command + " '" + media("three-programs.ts") + "'").status, status)
            << options;
    }
    const json limited = probe(media("single.ts"), "--limit pat=0.05");
    EXPECT_GT(limited["tr101290"][2]["count"], 10);
    const std::string watch = "zvprobe monitor --json-lines --limit pat=0.05 ";
    const json line = json::parse(shell(watch + "'" + media("single.ts") + "'").out);
    EXPECT_EQ(line["mpegts"]["tr101290"], limited["tr101290"]);
}

TEST_F(Probe, RefusesNumbersOutOfTheirRange) {
    for (const char* const options :
         {"--limit pat=nan x", "--limit pat=inf x", "--limit pat=0 x", "--limit pat=1s x",
          "--limit pid=0.9 x", "--limit pad=1 x", "--limit pat x", "--limits missing x",
          "--limits . x", "--limits /dev/zero x", "--indicators 1 x", "--strict --indicators 4 x",
          "--strict --indicators 1.3.c x", "--strict --indicators 1, x", "--history x",
          "monitor --history x", "monitor --limit pat=nan x", "monitor --interval nan x",
          "monitor --interval inf x"}) {
        const Outcome outcome = shell(std::string("zvprobe ") + options);
        EXPECT_EQ(outcome.status, 2) << options;
        EXPECT_GT(outcome.err.size(), 20u) << options;
    }
}

// A repeat of the counter with other bytes, in a packet that no table announces.
TEST_F(Probe, HasOneVerdictOnContinuity) {
    std::string bytes = read_file(media("single.ts"));
    std::string packet = std::string("\x47\x05\x55\x17", 4) + std::string(184, 'a');
    for (const char counter : {'\x17', '\x17', '\x19'}) {
        packet[3] = counter;
        packet[100] = static_cast<char>(packet[100] + 1);
        bytes += packet;
    }
    const Outcome told = shell("zvprobe -v --strict " + file(bytes));
    EXPECT_EQ(told.status, 1);
    EXPECT_NE(told.err.find("PID 0x555: Continuity_count_error (1.4): continuity 7 after 7\n"),
              told.err.npos);
    EXPECT_NE(told.err.find("PID 0x555: Continuity_count_error (1.4): continuity 9 after 7\n"),
              told.err.npos);
    EXPECT_NE(told.out.find("2 gaps, 1 lost"), told.out.npos) << told.out;
    EXPECT_TRUE(std::regex_search(told.out, std::regex("continuity errors +2 +315840 .*0x555")));
    EXPECT_EQ(errors_of(probe("stream"), 0x555), 2);
}

TEST_F(Probe, TellsWhatIsMissingWhenATableNeverComes) {
    // The first 752 bytes hold SDT, PAT and two of the three PMTs.
    const json stream = probe(file(read_file(media("three-programs.ts")).substr(0, 4 * 188)));
    EXPECT_EQ(stream["programs"].size(), 3u);
    EXPECT_TRUE(stream["programs"][2]["pmt_version"].is_null());
    const json& resolver = stream["resolver"];
    EXPECT_EQ(resolver["tables"]["complete"], false);
    EXPECT_EQ(resolver["tables"]["progress"], "Found 2/3 PMT");
    EXPECT_TRUE(resolver["programs"].empty());
    EXPECT_TRUE(resolver["stream_info"].is_null());
    const std::string text = shell("zvprobe stream").out;
    EXPECT_NE(text.find("PMT 0x1002, which did not come"), text.npos) << text;
}

TEST_F(Probe, CountsLossesOfTablesForTheStatistics) {
    std::string bytes = read_file(media("single.ts"));
    size_t pat = kMiddle;
    while (bytes.compare(pat, 3, "\x47\x40\0", 3) != 0)
        pat += 188;
    const std::string text = shell("zvprobe --stats " + file(bytes.erase(pat, 188))).out;
    EXPECT_NE(text.find("\n* pktSize:188\n[PAT]period,numErr,numLost:"), text.npos);
    EXPECT_NE(text.find(",1,1\n[SDT]period"), text.npos) << text;
    EXPECT_NE(text.find("\n[h264-0x100]numErr,numLost:0,0\n"), text.npos);
}

TEST_F(Probe, AnswersWhatIsNoStreamWithOneLineAndAStatus) {
    struct Case {
        const char* command;
        int status;
        const char* message;
    };
    file("");
    std::ofstream(dir_ / "text") << std::string(2000, 'x') << "Good day, GOOD GRIEF.\n";
    for (const Case& c : {
             Case{"zvprobe missing", 3, "missing: No such file or directory"},
             Case{"zvprobe .", 3, ".: Is a directory"},
             Case{"zvprobe gopher://x", 3, "unknown protocol \"gopher\""},
             Case{"zvprobe stream", 4, "not a known format"},
             Case{"zvprobe text", 4, "not a known format"},
             Case{"head -c 10000000 /dev/urandom | zvprobe -", 4, "not a known format"},
         }) {
        const Outcome outcome = shell(c.command);
        EXPECT_EQ(outcome.status, c.status) << c.command;
        EXPECT_NE(outcome.err.find(c.message), std::string::npos) << outcome.err;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
        EXPECT_EQ(outcome.out, "") << c.command;
    }
    EXPECT_EQ(shell("zvprobe").status, 2);
    EXPECT_EQ(shell("zvprobe --no-such-option x").status, 2);
    EXPECT_EQ(shell("zvprobe --pace=dts x").status, 2);
}

TEST_F(Probe, GoesOnBehindASourceThatFails) {
    const Outcome outcome = shell("zvprobe probe --json missing '" + media("single.ts") + "'");
    EXPECT_EQ(outcome.status, 3);
    const json sources = json::parse(outcome.out)["sources"];
    EXPECT_EQ(sources[0]["error"]["kind"], "cannot_open");
    EXPECT_EQ(sources[1]["mpegts"]["packets"], 1679);
}

// ESC, DEL, and CSI as one character, in a name that says it is UTF-8.
TEST_F(Probe, EscapesControlCharactersOfNamesInTheStream) {
    const std::string built =
        shell(
            "(zvprobe build pat --program 1:0x100 - && zvprobe build pmt "
            "--pmt 0x100 --pcr 0x101 --stream 27:0x101 - && zvprobe build sdt "
            "--name \"$(printf '\\025A\\033[m\\177\\302\\233Z')\" -) > built")
            .err;
    EXPECT_EQ(built, "");
    for (const char* const options : {"", "--resolver ", "-v ", "--json "}) {
        const Outcome outcome = shell(std::string("zvprobe ") + options + "built");
        const std::string all = outcome.out + outcome.err;
        EXPECT_NE(all.find("[m"), all.npos) << all;
        EXPECT_EQ(all.find_first_of("\x1b\x7f\x15"), all.npos) << all;
        EXPECT_EQ(all.find("\xc2\x9b"), all.npos) << all;
    }
    EXPECT_NE(shell("zvprobe --resolver built").out.find("\\x1b[m\\x7f\\xc2\\x9bZ"),
              std::string::npos);
}

TEST_F(Probe, KeepsItsOutputFreeOfLibraryMessages) {
    const std::string source = "'" + media("single.ts") + "'";
    const Outcome quiet = shell("zvprobe " + source);
    const Outcome logged = shell("zvprobe --log messages -v " + source);
    EXPECT_EQ(quiet.err, "");
    EXPECT_EQ(logged.out, quiet.out);
    EXPECT_NE(read_file(dir_ / "messages").find("Find all info"), std::string::npos);
    EXPECT_NE(shell("zvprobe -vv " + source).err.find("Find all info"), std::string::npos);
}

// The first event is told long before the stream's last packet is due.
TEST_F(Probe, PacesByTheStreamsClockAndReportsWhenInterrupted) {
    Pipe out;
    ToolProcess tool(dir_, {"-v", "--pace", "--json", media("single.ts")}, -1, out.write_end);
    Pipe::close_end(out.write_end);
    EXPECT_TRUE(await([&] { return tool.has_said("program_added"); }));
    tool.send(SIGINT);
    const json source = json::parse(out.read_all())["sources"][0];
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_EQ(source["interrupted"], true);
    EXPECT_GT(source["mpegts"]["packets"], 0);
    EXPECT_LT(source["mpegts"]["packets"], 1679);
}

TEST_F(Probe, SurvivesAFileThatShrinks) {
    const std::string whole = read_file(media("single.ts"));
    std::string bytes;
    while (bytes.size() < 3'000'000)
        bytes += whole;
    file(bytes);
    ToolProcess tool(dir_, {"-v", "--pace", "stream"});
    EXPECT_TRUE(await([&] { return tool.has_said("program_added"); }));
    std::filesystem::resize_file(dir_ / "stream", 8192);
    tool.send(SIGINT);
    EXPECT_EQ(tool.wait(), 3);
    EXPECT_TRUE(tool.has_said("became shorter"));
}

}  // namespace
