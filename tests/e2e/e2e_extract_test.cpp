// SPDX-License-Identifier: MIT
// `extract` on samples, and on streams made here whose contents are known byte for byte.
#include <functional>
#include <map>

#include "support/tool_run.h"
#include "support/ts_builder.h"

namespace {

using namespace zvtest;
using Files = std::map<std::string, std::string>;  // name to content

std::string text(const Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

// A PES packet whose length is told.
Bytes pes(int stream_id, const Bytes& header_data, const Bytes& body) {
    Bytes out{0, 0, 1, static_cast<uint8_t>(stream_id)};
    append16(out, static_cast<int>(3 + header_data.size() + body.size()));
    append(out, {0x80, 0, static_cast<uint8_t>(header_data.size())});
    return out + header_data + body;
}
Bytes pes(const Bytes& body) {
    return pes(0xE0, {}, body);
}

// The bytes in packets of a PID, the last one stuffed in front; `first` of them in the first one.
void add_unit(TsStream& stream, int pid, const Bytes& unit, size_t first = 184) {
    for (size_t at = 0, count; at < unit.size(); at += count) {
        count = std::min(at == 0 ? first : 184, unit.size() - at);
        TsPacket packet(pid);
        if (at == 0) packet.start();
        if (count < 184) packet.adaptation(static_cast<int>(183 - count));
        const auto begin = unit.begin() + static_cast<ptrdiff_t>(at);
        stream.add(packet.payload(Bytes(begin, begin + static_cast<ptrdiff_t>(count))));
    }
}

void add_pmt(TsStream& stream, int program, const std::vector<PmtStream>& streams,
             int version = 0) {
    stream.add_section(kPmtPid + program, pmt(program, 0x1FFF, streams).version(version));
}

Bytes language(const std::string& code) {
    return descriptor(0x0A, Bytes(code.begin(), code.end()) + Bytes{0});
}

class Extract : public ToolTest {
  protected:
    Files files(const std::string& directory = "es") const {
        Files all;
        for (const auto& entry : std::filesystem::directory_iterator(dir_ / directory))
            all[entry.path().filename()] = read_file(entry.path());
        return all;
    }
    // Extracts a stream into "es", which is new.
    Outcome extract(const Bytes& stream, const std::string& options = "",
                    const std::string& setting = "") const {
        std::filesystem::remove_all(dir_ / "es");
        return shell(setting + "zvprobe extract " + file(text(stream)) + " es " + options);
    }
    void expect_same(const std::string& source, const std::string& other) const {
        EXPECT_EQ(shell("zvprobe extract --sections '" + source + "' a").status, 0);
        EXPECT_EQ(shell("zvprobe extract --sections " + file(other) + " b").status, 0);
        EXPECT_FALSE(files("a").empty());
        EXPECT_EQ(files("a"), files("b")) << source;
    }
};

TEST_F(Extract, GivesTheStreamsOfTheSamplesByteForByte) {
    // CRC-32/MPEG-2, taken from the samples by another program.
    const std::map<std::string, std::map<std::string, uint32_t>> samples = {
        {"single.ts", {{"0x100-h264.264", 0x950982AC}, {"0x101-aac.aac", 0x286A7DEC}}},
        {"three-programs.ts",
         {{"0x100-h264.264", 0x7C1DD037},
          {"0x101-aac.aac", 0x0415B1D3},
          {"0x102-mpeg2video.m2v", 0x5E2C061B},
          {"0x103-mp2.mp2", 0xEA7B09B6},
          {"0x104-ac3.ac3", 0xB9982DDC}}},
        {"single-204.ts", {{"0x100-h264.264", 0xBCEFAFC9}, {"0x101-aac.aac", 0x6F7D531A}}},
        {"single-192.m2ts", {{"0x1011-h264.264", 0x1ECF77D9}, {"0x1100-aac.aac", 0x657A4380}}},
    };
    for (const auto& [source, expected] : samples) {
        EXPECT_EQ(shell("zvprobe extract '" + media(source) + "' " + source).status, 0);
        std::map<std::string, uint32_t> found;
        for (const auto& [name, bytes] : files(source))
            found[name] = zvcrc_api_CRC32(reinterpret_cast<const uint8_t*>(bytes.data()),
                                          static_cast<int>(bytes.size()));
        EXPECT_EQ(found, expected) << source;
    }
}

TEST_F(Extract, FindsTheSamePacketsAfterJunkAndAmongTimeCodes) {
    std::string junk(600, '\x11');
    for (size_t at = 7; at < junk.size(); at += 188)
        junk[at] = '\x47';
    expect_same(media("single.ts"), junk + read_file(media("single.ts")));
    std::string timed = read_file(media("single-192.m2ts"));
    for (size_t at = 0; at < timed.size(); at += 192)
        timed[at] = '\x47';
    expect_same(media("single-192.m2ts"), timed);
}

// One programme of 18 streams, 29 of six or seven: 200 files, and few descriptors.
TEST_F(Extract, WritesEveryStreamOfEveryProgramme) {
    ProgramList programs;
    Files expected;
    TsStream tables, units;
    for (int program = 1, pid = 0x100; program <= 30; ++program) {
        std::vector<PmtStream> streams;
        for (int left = program == 1 ? 18 : program <= 9 ? 7 : 6; left > 0; --left, ++pid) {
            streams.push_back({0x06, pid, language("eng") + descriptor(0x6A, Bytes(40, 1))});
            const Bytes body(500, static_cast<uint8_t>(pid));
            for (int count = 0; count < 2; ++count)
                add_unit(units, pid, pes(0xBD, {}, body));
            char name[40];
            std::snprintf(name, sizeof name, "0x%x-ac3-eng.ac3", static_cast<unsigned>(pid));
            expected[name] = text(body + body);
        }
        programs.emplace_back(program, kPmtPid + program);
        add_pmt(tables, program, streams);
    }
    ASSERT_EQ(expected.size(), 200u);
    const Bytes stream = pat_packet(programs).cc(0).build() + tables.bytes() + units.bytes();
    const Outcome outcome = extract(stream, "", "ulimit -n 64; ");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(files(), expected);
    EXPECT_NE(outcome.out.find("es/0x100-ac3-eng.ac3: 1000 bytes, 2 units, programme 1\n"),
              std::string::npos)
        << outcome.out;
    EXPECT_EQ(extract(stream, "--program 30 --pid 0x100").status, 0);
    EXPECT_EQ(files().size(), 7u);
}

TEST_F(Extract, TakesPesHeadersOfEveryKindAway) {
    const Bytes body = {'e', 's'}, header_data(20, 0xFF);
    Bytes without_end = pes(0xE0, header_data, body), extended = pes(0xFD, Bytes(100, 1), body);
    store16(without_end, 4, 0);
    extended[7] = 0x01;  // PES_extension_flag
    Bytes scrambled = pes(body), no_marker = pes(body), short_length = pes(0xE0, header_data, body);
    scrambled[6] |= 0x30;
    no_marker[6] = 0;
    store16(short_length, 4, 5);

    const struct {
        Bytes unit;
        std::string written, told;
        size_t first = 184;
    } cases[] = {
        {pes(body), "es", "1 unit\n"},
        {without_end, "es", "1 unit\n"},
        {extended, "es", "1 unit\n", 5},
        {pes(0xE0, Bytes(255, 0xFF), body), "es", "1 unit\n", 8},
        {{0, 0, 1, 0xBF, 0, 2, 'e', 's'}, "es", "1 unit\n", 3},  // private_stream_2
        {pes(body) + Bytes(9, 0), "es", "1 unit, 9 surplus bytes\n"},
        {{0, 0, 1, 0xBE, 0, 2, 'e', 's'}, "", ""},  // padding
        {scrambled, "", "scrambled"},
        {no_marker, "", ""},
        {short_length, "", ""},
        {{0, 0, 2, 0xE0, 0, 5, 0x80, 0, 0, 'e', 's'}, "", ""},
        {{0, 0, 1}, "", ""},
    };
    for (const auto& one : cases) {
        TsStream stream;
        stream.add(pat_packet({{1, kPmtPid + 1}}));
        add_pmt(stream, 1, {{0x06, kAudioPid}});
        stream.add(TsPacket(kAudioPid).adaptation(183));  // no payload is no unit
        add_unit(stream, kAudioPid, one.unit, one.first);
        stream.add(0x500, 2);
        const Outcome outcome = extract(stream);
        const std::string name = "0x101-data.bin";
        const size_t which = static_cast<size_t>(&one - cases);
        if (one.written.empty()) {
            EXPECT_FALSE(std::filesystem::exists(dir_ / "es")) << which;
            EXPECT_NE(outcome.out.find("PID 0x101: " + (one.told.empty() ? "left out" : one.told)),
                      std::string::npos)
                << which << outcome.out;
            continue;
        }
        EXPECT_EQ(files(), (Files{{name, one.written}})) << which;
        const std::string told = one.told;
        const std::string line = told.substr(0, 6) + ", programme 1" + told.substr(6);
        EXPECT_NE(outcome.out.find(", " + line), std::string::npos) << which << outcome.out;
    }
}

// Each unit is two packets, 'a' to 'f'; what comes of one stays, and what is lost is told.
TEST_F(Extract, CountsUnitsThatGapsDamage) {
    const auto unit = [](TsStream& stream, char name) {
        add_unit(stream, kVideoPid, pes(Bytes(350, static_cast<uint8_t>(name))));
    };
    const std::string whole_a(350, 'a'), whole_b(350, 'b'), whole_c(350, 'c');
    const std::string cut_b = whole_b.substr(0, 175);
    const struct {
        const char* what;
        std::function<void(Bytes&)> change;
        std::string written, told;
    } cases[] = {
        {"nothing", [](Bytes&) {}, whole_a + whole_b + whole_c, "3 units, programme 1\n"},
        {"sent twice",
         [](Bytes& bytes) {
             const Bytes copy(bytes.begin() + 3 * 188, bytes.begin() + 4 * 188);
             bytes.insert(bytes.begin() + 3 * 188, copy.begin(), copy.end());
         },
         whole_a + whole_b + whole_c, "3 units, programme 1\n"},
        {"the end of b is lost",
         [](Bytes& bytes) { bytes.erase(bytes.begin() + 5 * 188, bytes.begin() + 6 * 188); },
         whole_a + cut_b + whole_c, "3 units, programme 1, 1 damaged, 1 packet lost\n"},
        {"the start of b is lost",
         [](Bytes& bytes) { bytes.erase(bytes.begin() + 4 * 188, bytes.begin() + 5 * 188); },
         whole_a + whole_c, "2 units, programme 1, 1 without a beginning, 1 packet lost\n"},
        {"the end of b is scrambled", [](Bytes& bytes) { bytes[5 * 188 + 3] |= 0x80; },
         whole_a + cut_b + whole_c, "3 units, programme 1, 1 damaged, 1 packet scrambled\n"},
        {"the end of b is marked as damaged", [](Bytes& bytes) { bytes[5 * 188 + 1] |= 0x80; },
         whole_a + cut_b + whole_c, "3 units, programme 1, 1 damaged, 1 packet lost\n"},
        {"of a unit of unknown length, too",
         [](Bytes& bytes) {
             store16(bytes, 4 * 188 + 8, 0);
             bytes.erase(bytes.begin() + 5 * 188, bytes.begin() + 6 * 188);
         },
         whole_a + cut_b + whole_c, "3 units, programme 1, 1 damaged, 1 packet lost\n"},
        {"another stream begins after the start of b",
         [](Bytes& bytes) {
             bytes[5 * 188 + 3] ^= 8;     // counter
             bytes[5 * 188 + 5] |= 0x80;  // discontinuity_indicator
             bytes[6 * 188 + 3] ^= 8;
             bytes[7 * 188 + 3] ^= 8;
         },
         whole_a + cut_b + whole_c, "3 units, programme 1, 1 damaged, 1 without a beginning\n"},
        {"c is cut off", [](Bytes& bytes) { bytes.resize(7 * 188); },
         whole_a + whole_b + whole_c.substr(0, 175), "3 units, programme 1, 1 damaged\n"},
    };
    for (const auto& one : cases) {
        TsStream stream;
        stream.add(pat_packet({{1, kPmtPid + 1}}));
        add_pmt(stream, 1, {{0x1B, kVideoPid}});
        for (const char name : {'a', 'b', 'c'})
            unit(stream, name);
        Bytes bytes = stream;
        one.change(bytes);
        const Outcome outcome = extract(bytes + TsPacket(0x500).build());
        EXPECT_EQ(files(), (Files{{"0x100-h264.264", one.written}})) << one.what;
        EXPECT_TRUE(outcome.out.ends_with(" bytes, " + one.told)) << one.what << outcome.out;
    }
}

TEST_F(Extract, FollowsTablesThatComeLateAndChange) {
    TsStream stream;
    const auto unit = [&](int pid, const std::string& body) {
        add_unit(stream, pid, pes(Bytes(body.begin(), body.end())));
    };
    for (const int pid : {kVideoPid, kAudioPid, 0x102, 0x103, 0x104})
        unit(pid, "early");
    stream.add(pat_packet({{1, kPmtPid + 1}, {2, kPmtPid + 2}}));
    add_pmt(stream, 2, {{0x1B, kVideoPid}, {0x03, 0x103}});
    unit(kAudioPid, "and early");
    add_pmt(stream, 1, {{0x1B, kVideoPid}, {0x06, kAudioPid}, {0x05, 0x105}});
    unit(kAudioPid, "!");
    unit(0x103, "A");
    // 0x101 becomes known, 0x102 is new, 0x103 becomes another codec and is it again.
    add_pmt(stream, 1, {{0x06, kAudioPid, descriptor(0x6A, {0}) + language("../")}, {0x81, 0x102}},
            1);
    add_pmt(stream, 2, {{0x0F, 0x103}}, 1);
    unit(0x102, "new");
    unit(0x103, "B");
    add_pmt(stream, 1, {{0x81, kAudioPid, language("E/N")}}, 2);
    add_pmt(stream, 2, {{0x03, 0x103}}, 2);
    unit(0x103, "C");
    const Outcome outcome = extract(stream);
    EXPECT_EQ(files(), (Files{{"0x100-h264.264", "early"},
                              {"0x101-ac3-en.ac3", "earlyand early!"},
                              {"0x102-ac3.ac3", "new"},
                              {"0x103-mp2.mp2", "earlyAC"},
                              {"0x103-aac.aac", "B"}}));
    EXPECT_NE(outcome.out.find(": 5 bytes, 1 unit, programme 1+2\n"), std::string::npos);
    EXPECT_NE(outcome.out.find("PID 0x105: in sections, left out without --sections\n"),
              std::string::npos)
        << outcome.out;
    EXPECT_NE(outcome.err.find("PID 0x103 changes from mp2 to aac: a file for each\n"),
              std::string::npos)
        << outcome.err;
    // What no PMT lists is written when it is asked for.
    const Outcome asked = extract(stream, "--pid 0x104 --pid 9 --program 7");
    EXPECT_EQ(files(), (Files{{"0x104.bin", "early"}}));
    EXPECT_NE(asked.out.find("PID 0x9: left out, no packets came\n"), std::string::npos);
    EXPECT_NE(asked.err.find("programme 7 is not in it\n"), std::string::npos);
}

TEST_F(Extract, NamesScrambledStreamsAndLeavesThemOut) {
    TsStream stream = one_programme();
    stream.add(TsPacket(kVideoPid).start().scrambled().payload(pes({1})));
    add_unit(stream, kAudioPid, pes({'a'}));
    const Outcome outcome = extract(stream);
    EXPECT_EQ(outcome.out,
              "PID 0x100 (h264): scrambled, left out\n"
              "es/0x101-aac-eng.aac: 1 byte, 1 unit, programme 1\n");
    EXPECT_EQ(files(), (Files{{"0x101-aac-eng.aac", "a"}}));
}

TEST_F(Extract, WritesTablesAsTheyCame) {
    const Bytes long_table = Section(0x50, Bytes(3000, 'e'));
    const Bytes damaged = Section(0x50, Bytes(30, 'd')).break_crc();
    const Bytes map =
        pmt(1, 0x1FFF, {{0x86, 0x200}, {0x1B, kVideoPid, descriptor(0x09, {0, 1, 0xE3, 0})}});
    const Bytes splice = short_section(0xFC, Bytes(30, 's')), ecm = short_section(0x80, {1, 2, 3});
    TsStream stream;
    stream.add_section(0x200, splice);  // before the tables
    for (int version = 0; version < 2; ++version)
        stream.add(TsPacket(0).section(pat({{1, kPmtPid}}).version(version)));
    stream.add_section(kPmtPid, map).add_section(0x200, splice).add_section(0x300, ecm);
    stream.add_section(0x12, long_table).add_section(0x12, damaged).add_section(0x600, long_table);
    add_unit(stream, kVideoPid, pes({'v'}));
    const Files tables = {
        {"0x0-pat.sections",
         text(pat({{1, kPmtPid}}).build() + pat({{1, kPmtPid}}).version(1).build())},
        {"0x1000-pmt.sections", text(map)},
        {"0x12-eit.sections", text(long_table + damaged)},
        {"0x100-h264.264", "v"},
        {"0x200-scte-35.sections", text(splice + splice)},
        {"0x300-ecm.sections", text(ecm)},
    };
    const Outcome outcome = extract(stream, "--sections");
    EXPECT_EQ(files(), tables);
    EXPECT_NE(outcome.out.find("2 sections, 1 with a wrong CRC\n"), std::string::npos);
    extract(stream, "--sections --pid 0x600 --pid 0");
    EXPECT_EQ(files(), (Files{*tables.begin(), {"0x600-unreferenced.sections", text(long_table)}}));
}

// The source is a pipe that stays open; files without names tell that work has begun.
const std::string kCutShort = R"(
    rm -f pipe; mkfifo pipe
    { for i in 1 2 3 4 5; do cat "$source"; done; exec sleep 60; } > pipe & feeder=$!
    $zvprobe extract pipe $dir & tool=$!
    for i in $(seq 1000); do ls -d $dir/.zvprobe-* 2> /dev/null && break; sleep 0.01; done
    kill -$signal $tool; wait $tool; status=$?
    kill $feeder; exit $status)";

TEST_F(Extract, LeavesWhatWasThereWhenASignalCutsItShort) {
    shell("mkdir old && echo old > old/0x101-aac.aac");
    for (const std::string directory : {"old", "new"}) {
        for (const std::string signal : {"INT", "TERM"}) {
            const Outcome outcome = shell("source='" + media("single.ts") +
                                          "' zvprobe='" ZV_PROBE_BINARY "' dir=" + directory +
                                          " signal=" + signal + kCutShort);
            EXPECT_NE(outcome.out, "") << "no files";
            EXPECT_NE(outcome.status, 0) << outcome.err;
            EXPECT_NE(outcome.err.find("pipe: interrupted, nothing is written"), std::string::npos);
            EXPECT_EQ(std::filesystem::exists(dir_ / directory), directory == "old");
        }
    }
    EXPECT_EQ(files("old"), (Files{{"0x101-aac.aac", "old\n"}}));
}

TEST_F(Extract, WritesAllFilesOrNone) {
    // The last of five files cannot be replaced.
    shell("mkdir -p old/0x104-ac3.ac3 && echo old > old/0x101-aac.aac");
    EXPECT_EQ(shell("zvprobe extract '" + media("three-programs.ts") + "' old").status, 3);
    EXPECT_EQ(shell("ls -A old; cat old/*.aac").out, "0x101-aac.aac\n0x104-ac3.ac3\nold\n");
    for (const std::string& source : {media("h264-aac.flv"), std::string("/dev/null")}) {
        const Outcome outcome = shell("zvprobe extract '" + source + "' new");
        EXPECT_EQ(outcome.status, 4);
        EXPECT_NE(outcome.err.find(": not a transport stream\n"), std::string::npos);
        EXPECT_FALSE(std::filesystem::exists(dir_ / "new"));
    }
    EXPECT_EQ(shell("zvprobe extract '" + media("single.ts") + "' new --pid nan").status, 2);
}

TEST_F(Extract, WritesWhatALinkLeadsTo) {
    const Outcome outcome = shell(
        "mkdir es && echo old > other && ln -s ../other es/0x101-aac.aac && "
        "zvprobe extract '" +
        media("single.ts") + "' es && test -L es/0x101-aac.aac");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(read_file(dir_ / "other").size(), 50435u);
    EXPECT_EQ(files().size(), 2u);
}

}  // namespace
