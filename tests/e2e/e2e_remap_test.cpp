// SPDX-License-Identifier: MIT
// `remap`, from outside: the copy is the stream under other identifiers, or one programme of it,
// and what cannot be is refused.
#include <algorithm>
#include <map>
#include <random>

#include "maker/survey_maker.h"
#include "support/survey_run.h"
#include "support/tool_run.h"
#include "support/ts_builder.h"
#include "ts/remap/rs_parity.h"

namespace {

using namespace zvtest;
using nlohmann::json;
using Names = std::map<int, int>;  // old, new

int named(const Names& names, int old) {
    const auto found = names.find(old);
    return found == names.end() ? old : found->second;
}

std::string text(const Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}
Bytes bytes_of(const std::string& text) {
    return {text.begin(), text.end()};
}

// What a survey says but for times and places, under other names. Of PIDs with tables that are
// rewritten only what the tables say: `packets` of them are not counted.
json told(const json& survey, const Names& pids, const Names& numbers) {
    json told = {{"packets", survey["packets"]}, {"crc_errors", survey["crc_errors"]}};
    std::vector<int> with_tables = {0, 1, 0x11, 0x12, 0x1FFB, 0x1FFF};
    for (json programme : survey["programs"]) {
        with_tables.push_back(programme["pmt_pid"]);
        programme.erase("bit_rate_bps");
        programme.erase("descriptors");  // name PIDs, too
        programme["pmt_pid"] = named(pids, programme["pmt_pid"]);
        if (!programme["pcr_pid"].is_null())
            programme["pcr_pid"] = named(pids, programme["pcr_pid"]);
        for (json& stream : programme["streams"]) {
            stream["pid"] = named(pids, stream["pid"]);
            stream.erase("descriptors");
        }
        const int number = named(numbers, std::exchange(programme["program_number"], nullptr));
        told["programs"][std::to_string(number)] = programme;
    }
    for (const json& table : survey["tables"])
        if (table["table_id"] == 2) with_tables.push_back(table["pid"]);
    for (const json& pid : survey["pids"]) {
        if (std::ranges::count(with_tables, pid["pid"].get<int>()) != 0) continue;
        json& entry = told["pids"][std::to_string(named(pids, pid["pid"]))];
        for (const char* what : {"use", "stream_type", "codec", "packets", "scrambled_packets",
                                 "unit_starts", "transport_errors", "continuity"})
            entry[what] = pid[what];
    }
    for (const json& table : survey["tables"]) {
        const int id = table["table_id"], pid = named(pids, table["pid"]);
        if (id == 2) continue;  // told by the programmes
        const bool of_service = id == 0x4E || (id >= 0x50 && id <= 0x5F);
        json extension = table["extension"];
        if (of_service && !extension.is_null()) extension = named(numbers, extension);
        told["tables"][json({pid, id, extension}).dump()] = {table["sections"], table["versions"]};
    }
    return told;
}

void expect_continuity(const json& survey) {
    for (const json& pid : survey["pids"])
        EXPECT_EQ(pid["pid"] == 0x1FFF ? json(0) : pid["continuity"]["errors"], 0) << pid["pid"];
}

std::string options_of(const Names& pids, const Names& numbers) {
    std::string options;
    for (const auto& [from, to] : pids)
        options += " --map " + std::to_string(from) + ":" + std::to_string(to);
    for (const auto& [from, to] : numbers)
        options += " --program " + std::to_string(from) + ":" + std::to_string(to);
    return options;
}

// By PID: counter and payload of every packet with a payload. One without repeats the counter.
std::map<int, std::string> streams(const std::string& bytes, size_t size = 188, size_t before = 0) {
    std::map<int, std::string> found;
    std::map<int, int> counters;
    const auto byte = [&](size_t at) { return static_cast<uint8_t>(bytes[at]); };
    for (size_t at = before; at + 188 <= bytes.size(); at += size) {
        const int pid = (byte(at + 1) & 0x1F) << 8 | byte(at + 2);
        int& counter = counters.try_emplace(pid, byte(at + 3) & 15).first->second;
        const int counter_before = std::exchange(counter, byte(at + 3) & 15);
        if ((byte(at + 3) & 0x10) == 0) {
            EXPECT_EQ(counter, counter_before) << pid;
            continue;
        }
        const size_t head = byte(at + 3) & 0x20 ? 5u + byte(at + 4) : 4;
        found[pid] += static_cast<char>(counter) + bytes.substr(at + head, 188 - head);
    }
    return found;
}

Bytes ca(int pid) {
    Bytes bytes = {0x0B, 0x00};
    append16(bytes, 0xE000 | pid);
    return descriptor(9, bytes);
}

constexpr int kProgrammes = 30;

// A PMT of four packets, with conditional access for the programme and for a stream.
Bytes long_pmt(int i) {
    Bytes body = table_head(i), outer = ca(0x300 + i), inner = ca(0x400 + i);
    while (outer.size() < 500)
        append(outer, descriptor(0x80, Bytes(100, static_cast<uint8_t>(i))));
    append16(body, 0xE000 | (0x200 + 2 * i));
    append16(body, 0xF000 | static_cast<int>(outer.size()));
    append(body, outer);
    for (const int stream : {0, 1}) {
        body.push_back(stream == 0 ? 0x1B : 0x0F);
        append16(body, 0xE000 | (0x200 + 2 * i + stream));
        append16(body, 0xF000 | static_cast<int>(inner.size()));
        append(body, inner);
    }
    return Section(2, body);
}

Bytes eit(int i, const char* title) {
    Bytes body = table_head(i);
    append(body, {0, 1, 0, 1, 0, 0x4E, 0, 1, 0xED, 0x2B, 0, 0, 0, 0, 0x30, 0});
    Bytes name = {'e', 'n', 'g', static_cast<uint8_t>(strlen(title))};
    append(name, Bytes(title, title + strlen(title)));
    name.push_back(0);
    name = descriptor(0x4D, name);
    append16(body, 0x8000 | static_cast<int>(name.size()));
    append(body, name);
    return Section(0x4E, body);
}

// Thirty programmes with everything that names them, three times.
TsStream thirty_programmes() {
    TsStream stream;
    ProgramList list = {{0, 0x10}};
    std::vector<SdtService> services;
    Bytes events;
    for (int i = 1; i <= kProgrammes; ++i) {
        list.emplace_back(i, 0x100 + i);
        services.push_back({i, 1, "Makers", "Channel"});
        append(events, eit(i, i % 2 ? "Odd" : "Even"));
    }
    for (int round = 0; round < 3; ++round) {
        stream.add_section(0, pat(list)).add_section(kSdtPid, sdt(services));
        stream.add_section(0x12, events);
        stream.add(TsPacket(1).section(Section(1, table_head(0xFFFF) + ca(0x500))));
        stream.add(0x500, 1).add(0x1FFF, 2);
        for (int i = 1; i <= kProgrammes; ++i) {
            stream.add_section(0x100 + i, long_pmt(i)).add(0x300 + i, 1).add(0x400 + i, 1);
            stream.add(TsPacket(0x200 + 2 * i).pcr(static_cast<uint64_t>(round) * 3600));
            stream.add(0x201 + 2 * i, 2);
        }
    }
    return stream;
}

class Remap : public ToolTest {
  protected:
    // -> the copy; empty after a failure
    Bytes remap(const Bytes& bytes, const std::string& options) const {
        std::filesystem::remove(dir_ / "new");
        const Outcome outcome = shell("zvprobe -q remap " + file(text(bytes)) + " new " + options);
        EXPECT_EQ(outcome.status, 0) << outcome.err << options;
        return bytes_of(read_file(dir_ / "new"));
    }
    json programme(const std::string& path) const {
        return account(path).at("mpegts").at("programs").at(0);
    }
};

TEST_F(Remap, ChangesIdentifiersAndNothingElseOfTheStreams) {
    struct Sample {
        const char* name;
        size_t size, before;
        int video, audio;
    };
    for (const auto& [name, size, before, video, audio] :
         {Sample{"single.ts", 188, 0, 256, 257}, Sample{"single-192.m2ts", 192, 4, 0x1011, 0x1100},
          Sample{"single-204.ts", 204, 0, 256, 257}}) {
        // The new PIDs lack high bits that the old ones have, and have others.
        const Outcome outcome = shell("zvprobe remap '" + media(name) +
                                      "' new --program 0x1234 --pmt 300 --pcr 0x0EEF "
                                      "--es 0x0EEF,4095 && zvprobe --strict new");
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        const std::string was = read_file(media(name)), is = read_file(dir_ / "new");
        const json old = survey_of(bytes_of(was));
        const int pmt = old["programs"][0]["pmt_pid"];
        EXPECT_EQ(told(survey_of(bytes_of(is)), {}, {}),
                  told(old, {{video, 0x0EEF}, {audio, 4095}, {pmt, 300}}, {{1, 0x1234}}));
        auto before_it = streams(was, size, before), after_it = streams(is, size, before);
        EXPECT_EQ(after_it[0x0EEF], before_it[video]) << name;
        EXPECT_EQ(after_it[4095], before_it[audio]) << name;
        for (size_t at = 0; before > 0 && at < was.size(); at += size)
            ASSERT_EQ(was.substr(at, before), is.substr(at, before)) << "a time code";
    }
}

TEST_F(Remap, MovesTheClockToAPidOfItsOwnAndIntoAStream) {
    const auto was = streams(read_file(media("single.ts")));
    std::string in = media("single.ts");
    for (const std::string pcr : {"0x300", "0x201", "0x200"}) {
        const Outcome outcome = shell("zvprobe remap '" + in + "' " + pcr +
                                      " --program 1 --pmt 99 --es 0x200,0x201 --pcr " + pcr +
                                      " && zvprobe --strict " + pcr);
        EXPECT_EQ(outcome.status, 0) << outcome.err << outcome.out;
        EXPECT_EQ(programme(pcr)["pcr_pid"], std::stoi(pcr, nullptr, 16));
        const json pids = account(pcr)["mpegts"]["pids"];
        for (const json& pid : pids)
            EXPECT_EQ(pid["pcr"].is_null(), pid["pid"] != std::stoi(pcr, nullptr, 16)) << pid;
        auto is = streams(read_file(dir_ / pcr));
        EXPECT_EQ(is[0x200], was.at(256)) << pcr;
        EXPECT_EQ(is[0x201], was.at(257)) << pcr;
        in = pcr;
    }
}

TEST_F(Remap, RenewsTheParityOfChangedPackets) {
    std::string bytes = read_file(media("single-204.ts"));
    for (size_t at = 0; at < bytes.size(); at += 204) {
        const auto* packet = reinterpret_cast<const uint8_t*>(bytes.data() + at);
        const auto parity = zvprobe::rs_parity(std::span<const uint8_t, 188>(packet, 188));
        bytes.replace(at + 188, 16, reinterpret_cast<const char*>(parity.data()), 16);
    }
    bytes[204 * 100 + 190] ^= 1;  // one that is wrong stays as it is
    const Bytes now = remap(bytes_of(bytes), "--program 7 --pmt 99 --pcr 98 --es 98,97");
    ASSERT_EQ(now.size(), bytes.size());
    EXPECT_EQ(text(now).substr(204 * 100 + 188, 16), bytes.substr(204 * 100 + 188, 16));
    // A code word is 0 at 2^0..2^15 (ETSI EN 300 421); x^8 = x^4 + x^3 + x^2 + 1.
    for (size_t at = 0; at < now.size(); at += 204 * 49) {
        for (int root = 0; root < 16; ++root) {
            int value = 0;
            for (size_t i = 0; i < 204; value ^= now[at + i++])
                for (int k = 0; k < root; ++k)
                    value = value << 1 ^ (value & 0x80 ? 0x11D : 0);
            EXPECT_EQ(value, 0) << at << " " << root;
        }
    }
}

TEST_F(Remap, RenamesThirtyProgrammesInEveryTable) {
    Names pids, numbers;
    for (int i = 1; i <= kProgrammes; ++i) {
        numbers[i] = i % kProgrammes + 1;  // round in a circle
        for (const int from : {0x100 + i, 0x200 + 2 * i, 0x201 + 2 * i, 0x300 + i, 0x400 + i})
            pids[from] = from + 0x1000;
    }
    pids[0x500] = 0x101;  // that a PMT leaves
    const Bytes was = thirty_programmes(), is = remap(was, options_of(pids, numbers));
    const json old = survey_of(was), now = survey_of(is);
    EXPECT_EQ(told(now, {}, {}), told(old, pids, numbers));
    EXPECT_EQ(now["programs"][4]["now"]["title"], "Odd");
    expect_continuity(now);
    // What is no table is where it was; tables have as many packets as before, in the same places.
    ASSERT_EQ(is.size(), was.size());
    for (size_t at = 0; at < was.size(); at += 188) {
        const int pid = (was[at + 1] & 0x1F) << 8 | was[at + 2];
        ASSERT_EQ((is[at + 1] & 0x1F) << 8 | is[at + 2], named(pids, pid)) << at / 188;
        if (pid <= 0x200) continue;
        ASSERT_TRUE(std::equal(&was[at + 3], &was[at] + 188, &is[at + 3])) << at / 188;
    }
}

TEST_F(Remap, KeepsTheContentsOfEighteenStreams) {
    std::vector<PmtStream> listed;
    Names pids = {{kPmtPid, 0x700}};
    TsStream units;
    for (int i = 0; i < 18; ++i) {
        const int pid = 0x200 + i;
        pids[pid] = pid + 0x1000;
        listed.push_back({0x06, pid, descriptor(0x6A, Bytes(20, 1))});  // so the PMT is long
        for (const int unit : {1, 2, 3}) {
            const Bytes head = PesHeader(0xBD).pts(static_cast<uint64_t>(unit) * 3600);
            const auto content = static_cast<uint8_t>(4 * i + unit);
            units.add(TsPacket(pid).start().payload(head + Bytes(150, content)));
        }
    }
    TsStream stream;
    stream.add(pat_packet({{1, kPmtPid}}));
    stream.add_section(kPmtPid, pmt(1, 0x200, listed));
    const Bytes was = stream.bytes() + units.bytes();
    const Bytes is = remap(was, options_of(pids, {{1, 77}}));
    EXPECT_EQ(told(survey_of(is), {}, {}), told(survey_of(was), pids, {{1, 77}}));
    EXPECT_EQ(shell("zvprobe extract stream a && zvprobe extract new b").status, 0);
    for (int i = 0; i < 18; ++i) {
        char before[32], now[32];
        std::snprintf(before, sizeof before, "a/0x%x-ac3.ac3", 0x200u + static_cast<unsigned>(i));
        std::snprintf(now, sizeof now, "b/0x%x-ac3.ac3", 0x1200u + static_cast<unsigned>(i));
        EXPECT_GE(read_file(dir_ / now).size(), 3 * 150u) << now;
        EXPECT_EQ(read_file(dir_ / now), read_file(dir_ / before)) << now;
    }
}

TEST_F(Remap, CutsOneProgrammeOut) {
    const Bytes was = thirty_programmes();
    const json old = survey_of(was);
    const Names pids = {{0x200 + 2 * 17, 0x900}, {0x400 + 17, 0x200 + 2 * 16}};
    const Bytes is = remap(was, "--from 17 --program 5" + options_of(pids, {}));
    const json now = survey_of(is), all = told(old, pids, {{17, 5}});
    EXPECT_EQ(is.size(), was.size());
    json expected = {{"5", all["programs"]["5"]}};
    EXPECT_EQ(told(now, {}, {})["programs"], expected);
    expected = json::array();
    for (const int pid : {0, 1, 0x11, 0x12, 0x100 + 17, 0x200 + 2 * 16, 0x201 + 2 * 17, 0x300 + 17,
                          0x500, 0x900, 0x1FFF})
        expected.push_back(pid);
    json found = json::array();
    for (const json& pid : now["pids"])
        found.push_back(pid["pid"]);
    expect_continuity(now);
    EXPECT_EQ(found, expected);
    std::vector<int> events;
    for (const json& table : now["tables"])
        if (table["table_id"] == 0x4E) events.push_back(table["extension"]);
    EXPECT_EQ(events, std::vector{5});
    ZvSurveyTotals totals;
    zvsurvey_totals(*SurveyRun().feed(is).finish(), &totals, sizeof totals);
    EXPECT_EQ(totals.services, 1u);
    // Without null packets nothing else is missing.
    const json less =
        survey_of(remap(was, "--drop-nulls --from 17 --program 5" + options_of(pids, {})));
    EXPECT_EQ(pid_of(less, 0x1FFF), nullptr);
    EXPECT_EQ(less["packets"], now["packets"].get<int>() - now["null_packets"].get<int>());
    EXPECT_EQ(told(less, {}, {})["pids"], told(now, {}, {})["pids"]);
}

TEST_F(Remap, SurveysTheSameUnderRandomNames) {
    for (const uint32_t seed : {1U, 2U, 5U, 14U, 16U, 20U, 27U, 33U}) {
        const Bytes was = fuzz::make_survey_stream(seed);
        const json old = survey_of(was);
        std::mt19937 random(seed);
        Names pids, numbers;
        std::vector<int> taken;
        for (const json& pid : old["pids"])
            if (pid["pid"] > 0x1F && pid["pid"] < 0x1FF0 && random() % 2)
                taken.push_back(pid["pid"]);
        std::vector<int> next = taken;
        std::ranges::shuffle(next, random);
        for (size_t i = 0; i < taken.size(); ++i)
            pids[taken[i]] = next[i];
        for (const json& programme : old["programs"])
            numbers[programme["program_number"]] = static_cast<int>(30000 + numbers.size());
        const json now = survey_of(remap(was, options_of(pids, numbers)));
        EXPECT_EQ(told(now, {}, {}), told(old, pids, numbers)) << seed;
    }
}

TEST_F(Remap, GivesTablesNullPacketsOrNewOnesWhereTheirOwnAreTooFew) {
    // Without the section between them the last one cannot share a packet with the first.
    const Bytes last = eit(1, std::string(160, 'x').c_str());
    ASSERT_GT(last.size(), 184u);
    for (const int nulls : {0, 1, 3}) {
        TsStream stream = one_programme();
        stream.add_section(0x12, eit(1, "First") + eit(2, "Other") + last);
        stream.add(0x1FFF, nulls).add(kVideoPid, 1);
        const json old = survey_of(stream), now = survey_of(remap(stream, "--from 1"));
        const json wanted = {{"pid", 0x12}, {"table_id", 0x4E}, {"extension", 1}};
        EXPECT_EQ(entry(now["tables"], wanted)["sections"], 2);
        EXPECT_EQ(pid_of(now, 0x12)["packets"], 3);
        expect_continuity(now);
        EXPECT_EQ(now["packets"].get<int>(), old["packets"].get<int>() + (nulls == 0));
        EXPECT_EQ(now["null_packets"], std::max(0, nulls - 1));
    }
}

TEST_F(Remap, FollowsTablesThatChange) {
    TsStream stream = one_programme();
    stream.add(kVideoPid, 3).add(0x105, 2);
    stream.add(pat_packet({{1, 0x1001}, {2, kPmtPid}}));
    stream.add(TsPacket(0x1001).section(pmt(1, 0x105, {{0x1B, 0x105}}).version(1)));
    stream.add(TsPacket(kPmtPid).section(pmt(2, kVideoPid, {{0x1B, kVideoPid}})));
    stream.add(kVideoPid, 5).add(0x105, 7);
    // A stream begins before the tables that name it.
    const Bytes all = TsStream().add(TsPacket(kVideoPid).cc(15)).bytes() + stream.bytes();
    const json now = survey_of(remap(all, "--from 1 --map 0x105:0x700"));
    EXPECT_EQ(now["programs"][0]["streams"].size(), 1u);
    EXPECT_EQ(pid_of(now, kVideoPid)["packets"], 4);
    ASSERT_NE(pid_of(now, 0x700), nullptr);
    EXPECT_EQ(pid_of(now, 0x700)["packets"], 7);
    EXPECT_EQ(now["programs"].size(), 1u);
    EXPECT_EQ(now["packets"], survey_of(all)["packets"]);
}

TEST_F(Remap, LetsASectionBeginOnlyInAPacketThatSaysSo) {
    Bytes body = table_head(1);
    body.resize(366 - 7);  // up to the last byte of its second packet
    TsStream stream = one_programme();
    stream.add_section(0x12, Section(0x50, body).build() + eit(1, "Next"));
    const json now = survey_of(remap(stream, "--program 9"));
    EXPECT_EQ(pid_of(now, 0x12)["unit_starts"], 2);
    EXPECT_EQ(pid_of(now, 0x12)["packets"], 3);
    EXPECT_EQ(now["tables"].size(), 5u);
}

TEST_F(Remap, KeepsWaitingForATableWithinBounds) {
    // The rest of a section comes after more packets than wait.
    TsStream table, video;
    table.add_section(kPmtPid, long_pmt(1));
    video.add(kVideoPid, 40000);
    const auto cut = [](const Bytes& bytes, size_t from, size_t to) {
        const auto begin = bytes.begin();
        return Bytes(begin + static_cast<ptrdiff_t>(from * 188),
                     begin + static_cast<ptrdiff_t>(std::min(to * 188, bytes.size())));
    };
    const Bytes all = pat_packet({{1, kPmtPid}}).cc(0).build() + cut(video, 0, 3) +
                      cut(table, 0, 1) + cut(video, 3, 40000) + cut(table, 1, 40000);
    const json old = survey_of(all), now = survey_of(remap(all, "--map 0x202:0x700"));
    EXPECT_EQ(told(now, {}, {})["programs"], told(old, {{0x202, 0x700}}, {})["programs"]);
    EXPECT_EQ(now["packets"], old["packets"].get<int>() + 1);
    EXPECT_EQ(pid_of(now, kVideoPid)["packets"], 40000);
    expect_continuity(now);
}

TEST_F(Remap, LeavesDamageAndClocksOfTablesAsTheyAre) {
    TsStream stream = one_programme();
    stream.add(TsPacket(kSdtPid).cc(0).section(sdt({{1, 1, "Makers", "Channel"}})));  // once more
    const Bytes broken = pmt(1, kVideoPid, {{0x1B, kVideoPid}}).break_crc();
    stream.add(TsPacket(kPmtPid).section(broken));
    stream.add(TsPacket(0x11).pcr(900).section(sdt({{1, 1, "Makers", "Channel"}})));
    stream.add(TsPacket(0x11).pcr(901).payload({})).add(TsPacket(0x11).transport_error());
    const Bytes is = remap(stream, "--program 9 --map 0x100:0x700");
    EXPECT_NE(std::search(is.begin(), is.end(), broken.begin(), broken.end()), is.end());
    const json now = survey_of(is);
    EXPECT_EQ(entry(now["tables"], {{"pid", kSdtPid}})["sections"], 2) << "none twice";
    EXPECT_EQ(now["crc_errors"], 1);
    EXPECT_EQ(pid_of(now, 0x11)["pcr"]["count"], 2);
    EXPECT_EQ(pid_of(now, 0x11)["continuity"]["errors"], 0);
    EXPECT_EQ(pid_of(now, 0x11)["transport_errors"], 1);
}

TEST_F(Remap, DropsAPidFromTheTablesAsWell) {
    const json now =
        survey_of(remap(thirty_programmes(), "--drop 0x203 --drop 0x301 --drop 0x105"));
    const json first = now["programs"][0];
    EXPECT_EQ(first["streams"].size(), 1u);
    EXPECT_EQ(first["descriptors"].get<std::string>().substr(0, 4), "8064");
    EXPECT_EQ(now["programs"].size(), kProgrammes - 1u);
    EXPECT_EQ(pid_of(now, 0x203), nullptr);
    EXPECT_EQ(now["packets"], survey_of(thirty_programmes())["packets"]);
}

TEST_F(Remap, RefusesWhatCannotBe) {
    const std::string three = "'" + media("three-programs.ts") + "'";
    EXPECT_EQ(shell("zvprobe remap --from 2 " + three +
                    " one --program 7 --pmt 99 --pcr 512 --es 512,256")
                  .status,
              0);
    EXPECT_EQ(streams(read_file(dir_ / "one")).size(), 6u);  // tables, two streams, null packets
    EXPECT_EQ(programme("one")["service"]["name"], "Film");
    TsStream changes = one_programme();
    changes.add(TsPacket(kPmtPid).section(pmt(1, kAudioPid, {{0x0F, kAudioPid}}).version(1)));
    file(text(changes));
    struct Refusal {
        const char* in;
        std::string options, message;
        int status = 2;
    };
    for (const auto& [in, options, message, status] : {
             Refusal{three.c_str(), "--program 7", "3 programmes: choose one with --from NUMBER"},
             Refusal{three.c_str(), "--from 9", "there is no programme 9"},
             Refusal{three.c_str(), "--program 9:8", "there is no programme 9"},
             Refusal{three.c_str(), "--program 1:2", "there would be two of programme 2"},
             Refusal{three.c_str(), "--map 0x102:0x100", "0x100 carries other packets"},
             Refusal{three.c_str(), "--from 2 --pmt 0x102", "0x102 carries other packets"},
             Refusal{three.c_str(), "--map 0x102:7777 --map 0x100:7777", "two things at once"},
             Refusal{three.c_str(), "--map 0x102:777 --map 0x102:778", "cannot become two PIDs"},
             Refusal{three.c_str(), "--map 0x999:0x998", "0x999 does not come in the stream"},
             Refusal{three.c_str(), "--map 0x11:0x998", "0x11 has its PID by the standard"},
             Refusal{three.c_str(), "--map 0x102:0x11", "0x11 belongs to a table"},
             Refusal{three.c_str(), "--map 0x102:0x2000", "is no PID from"},
             Refusal{three.c_str(), "--drop 0x102", "carries the clock of a programme"},
             Refusal{three.c_str(), "", "nothing is to be changed"},
             Refusal{"one", "--pmt 600 --es 600,256", "0x258 cannot be two things"},
             Refusal{"one", "--pmt 99 --pcr 99", "PCR cannot share the PMT's PID"},
             Refusal{"one", "--pcr 0x11", "0x11 belongs to a table"},
             Refusal{"one", "--pcr 99", "PCR cannot share the PMT's PID"},
             Refusal{"one", "--es 512", "the programme has 2 streams, --es 1"},
             Refusal{"stream", "--es 0x200,0x201", "streams change within the stream", 3},
             Refusal{"stream", "--pcr 0x200", "PCR moves to another PID within the stream", 3},
             Refusal{"-", "--drop-nulls < stream", "not a file, which is read twice", 3},
             Refusal{"'" ZV_TEST_MEDIA "/h264-aac.flv'", "--drop-nulls", "not a transport stream",
                     4},
         }) {
        const Outcome outcome = shell("zvprobe remap " + std::string(in) + " bad " + options);
        EXPECT_EQ(outcome.status, status) << options << outcome.err;
        EXPECT_NE(outcome.err.find(message), std::string::npos) << options << outcome.err;
    }
    EXPECT_FALSE(std::filesystem::exists(dir_ / "bad"));
}

}  // namespace
