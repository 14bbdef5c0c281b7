// SPDX-License-Identifier: MIT
// The command-line tool from outside on FLV and MPEG audio: what it reports of the sample files and
// of damaged copies, and the files that `flv-meta` writes.
#include "support/flv_builder.h"
#include "support/tool_run.h"

namespace {

using nlohmann::json;
using namespace zvtest;

constexpr size_t kFirstTag = 13;
constexpr size_t kSecondTag = kFirstTag + 308;  // of the sample files, after onMetaData

std::string text_of(const Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

std::string flv_file(const std::string& tags) {
    return std::string("FLV\1\5\0\0\0\11\0\0\0\0", kFirstTag) + tags;
}

// Bytes that a report books somewhere.
size_t accounted(const json& report) {
    size_t sum = report.contains("tags") ? kFirstTag : 0;
    for (const char* const part :
         {"/tags/bytes", "/sync/skipped_bytes", "/frame_bytes", "/id3v2/bytes", "/id3v1/bytes",
          "/stray/bytes", "/trailing_bytes"})
        sum += report.value(json::json_pointer(part), size_t{0});
    return sum;
}

class FlvAudioTest : public ToolTest {
  protected:
    // Through a pipe the same must come out.
    json probe(const std::string& path) const {
        const json seen = account(path);
        const Outcome piped = shell("cat '" + path + "' | zvprobe --json -");
        const std::string format = seen.at("format");
        EXPECT_EQ(json::parse(piped.out)["sources"][0].value(format, json()), seen[format]);
        return seen[format];
    }
    json probe_bytes(const std::string& bytes) const {
        const json report = probe(file(bytes));
        EXPECT_EQ(accounted(report), bytes.size());
        return report;
    }
};
using Flv = FlvAudioTest;
using MpegAudio = FlvAudioTest;

TEST_F(Flv, IsDescribedWithWhatItsTagsHold) {
    const json flv = probe(media("h264-aac.flv"));
    EXPECT_EQ(flv["library"]["info"], "video:AVC(H.264),29.97,720X480,audio:AAC,44100");
    const json& tags = flv["tags"];
    EXPECT_EQ(json({tags["audio"], tags["video"], tags["script"]}), json({175, 102, 1}));
    EXPECT_EQ(flv["duration_s"], 4.097);
    EXPECT_EQ(flv["video"]["key_frames"], 4);
    EXPECT_EQ(flv["video"]["size"], json({{"width", 320}, {"height", 180}}));
    EXPECT_EQ(flv["video"]["avc_config"]["length"], 45);
    EXPECT_EQ(flv["audio"]["aac_config"]["bytes"], "120856e500");
    EXPECT_EQ(flv["script_data"][0]["values"][0]["videodatarate"], 244.140625);
    const json old = probe(media("h263-mp3.flv"));
    EXPECT_EQ(old["library"]["info"], "video:H.263,29.97,720X480,audio:MP3,44100");
    EXPECT_EQ(old["video"]["key_frames"], 7);
    EXPECT_EQ(old["video"]["size"]["height"], 180);
}

TEST_F(Flv, TellsWhatItsConfigurationsMakeOfSoundAndPicture) {
    const auto aac = [this](const Bytes& config) {
        Bytes body = {0xAF, 0};
        body.insert(body.end(), config.begin(), config.end());
        json read = probe_bytes(flv_file(text_of(audio_tag(body))))["audio"]["aac_config"];
        for (const char* const member : {"tags", "length", "bytes"})
            read.erase(member);
        return read.dump();
    };
    const auto sound = [](int type, const char* name, int rate, int channels) {
        json out = {{"object_type", type}, {"object_name", name}};
        out.update({{"sample_rate", rate}, {"channels", channels}});
        return out.dump();
    };
    EXPECT_EQ(aac({0x12, 0x10}), sound(2, "LC", 44100, 2));
    EXPECT_EQ(aac({0x2B, 0x11, 0x88, 0x00}), sound(5, "LC with SBR", 48000, 2));
    EXPECT_EQ(aac({0x13, 0x10, 0x56, 0xE5, 0x98}), sound(5, "LC with SBR", 48000, 2));
    EXPECT_EQ(aac({0xEB, 0x09, 0x88, 0x00}), sound(29, "LC with SBR and PS", 48000, 2));
    EXPECT_EQ(aac({0x11, 0xD8}), sound(2, "LC", 48000, 7));
    EXPECT_EQ(aac({0xC9, 0x90}), sound(25, "object type 25", 48000, 2));
    EXPECT_EQ(aac({0x2B, 0x11}), "{}") << "cut off in SBR's rate";

    const Bytes constrained = {0x17, 0, 0, 0, 0, 1, 66, 0xD0, 11, 0xFF, 0xE0, 0};
    const json avc = probe_bytes(flv_file(text_of(video_tag(constrained))))["video"]["avc_config"];
    EXPECT_EQ(avc["profile_name"], "Constrained Baseline");
    EXPECT_EQ(avc["level"], 11);
    EXPECT_NE(shell("zvprobe stream").out.find("Constrained Baseline, level 1b"),
              std::string::npos);
}

TEST_F(Flv, HasScriptDataOfAnyDepthAndLength) {
    const Bytes array = {0, 1, 'a', 10, 0, 0, 0, 2, 1, 1, 5};
    const Bytes date = {0, 1, 'd', 11, 0x42, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    const Bytes nested = Amf().string("onCue").object().raw(array).raw(date).end();
    Amf bomb = Amf().string("bomb");
    for (int i = 0; i < 100'000; ++i)
        bomb.object("x");
    const Bytes liar = Amf().string("liar").raw({10, 0xFF, 0xFF, 0xFF, 0xFF, 0, 1});
    std::string tags = text_of(video_tag({0x12, 0}).extension_byte(1));
    for (const Bytes& body : {nested, static_cast<const Bytes&>(bomb), liar})
        tags += text_of(script_tag(body));
    const json flv = probe_bytes(flv_file(tags));
    EXPECT_EQ(flv["timestamps"]["first_ms"], 1 << 24);
    const json& cue = flv["script_data"][0]["values"][0];
    EXPECT_EQ(cue.dump(), R"({"a":[true,null],"d":{"unix_ms":8589934592.0}})");
    for (const size_t i : {0u, 1u, 2u})
        EXPECT_EQ(flv["script_data"][i]["complete"], i == 0);
}

TEST_F(Flv, IsFollowedAcrossDamage) {
    const std::string whole = read_file(media("h264-aac.flv"));
    const size_t third = kSecondTag + 65;
    for (const size_t inside : {size_t{0}, size_t{4}, size_t{11}, size_t{14}}) {
        std::string bytes = whole;
        const json flv = probe_bytes(bytes.insert(third + inside, 37, '\xEE'));
        EXPECT_EQ(flv["sync"]["losses"], 1) << inside;
        EXPECT_GE(flv["tags"]["total"], 277) << inside;
    }
    std::string bytes = whole;
    bytes[third - 1] ^= 1;
    const json word = probe_bytes(bytes)["size_words"];
    EXPECT_EQ(word["mismatch_list"],
              json::array({{{"offset", third - 4}, {"expected", 61}, {"found", 60}}}));
    EXPECT_EQ(shell("zvprobe --strict stream").status, 1);
    for (const size_t length : {size_t{13}, size_t{14}, third - 1, third + 2, whole.size() - 1}) {
        const json flv = probe_bytes(whole.substr(0, length));
        EXPECT_EQ(flv["truncated_tag"].is_null(), length < 24 || length == third + 2) << length;
    }
}

// Its tags are so long that what is looked at of one ends where 4 MiB do, and of others where 1 MiB
// does: the next window once was lost there, a third of the file.
TEST_F(Flv, IsReadAndCopiedWholeAcrossWindows) {
    const auto picture = [](uint8_t kind, size_t size) {
        Bytes body(size, 0);
        body[0] = kind;
        return text_of(video_tag(body));
    };
    std::string tags = picture(0x12, 424 - 15);
    for (int i = 0; i < 24'000; ++i)
        tags += picture(0x22, 512 - 15);
    const json report = probe_bytes(flv_file(tags));
    EXPECT_EQ(report["tags"]["total"], 24'001);
    const Outcome copied = shell("zvprobe flv-meta stream copy.flv");
    EXPECT_EQ(copied.status, 0) << copied.err;
    EXPECT_NE(copied.out.find(": 24001 tags"), copied.out.npos) << copied.out;
    EXPECT_TRUE(read_file(dir_ / "copy.flv").ends_with(tags));
}

TEST_F(Flv, IsRepairedByTheWay) {
    const std::string other = text_of(script_tag(Amf().string("onCue").object().end()));
    const std::string sound = text_of(audio_tag({0x2E, 1, 2}));
    const std::string wrong = text_of(audio_tag({0x2E, 3}).misstate_size_word_by(9));
    file(flv_file(sound + other + wrong + sound + "stray bytes" + sound.substr(0, 15)));
    const Outcome outcome = shell("zvprobe flv-meta stream out && zvprobe --strict out");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    std::string right = wrong;
    right.back() = 13;
    const std::string written = read_file(dir_ / "out");
    EXPECT_EQ(written[4], 4);  // audio only, whatever the old header said
    EXPECT_TRUE(written.ends_with(sound + other + right + sound));
}

TEST_F(Flv, IsNotWrittenByHalves) {
    const std::string in = "'" + media("h264-aac.flv") + "' ";
    EXPECT_EQ(shell("ulimit -f 100; zvprobe flv-meta " + in + "out").status, 3);
    const Outcome outcome = shell("zvprobe flv-meta " + in + "no/out");
    EXPECT_EQ(outcome.status, 3);
    EXPECT_NE(outcome.err.find("no/out: cannot be written: No such file"), std::string::npos);
    EXPECT_EQ(shell("zvprobe flv-meta '" + media("single.ts") + "' out").status, 4);
    EXPECT_EQ(shell("zvprobe flv-meta " + in + "out more").status, 2);
    EXPECT_EQ(shell("ls").out, "stderr\n");
}

TEST_F(MpegAudio, IsReadByTheToolBesideWhatTheLibrarySays) {
    const json layer2 = probe_bytes(read_file(media("mpeg1-layer2.mp2")));
    EXPECT_EQ(layer2["library"]["info"], ",mpeg1-/L2,192 kb/s,44100 Hz,doubletrack");
    EXPECT_EQ(layer2["library"]["differs_in"], json({"sample_rate", "channel_mode"}));
    EXPECT_EQ(layer2["first_frame"]["sample_rate"], 48000);
    EXPECT_EQ(layer2["duration_s"], 2.016);
    const json layer3 = probe_bytes(read_file(media("mpeg1-layer3.mp3")));
    EXPECT_EQ(layer3["id3v2"]["bytes"], 45);
    EXPECT_EQ(layer3["frames"], 117);
    EXPECT_EQ(layer3["info_frame"], "Info");
    EXPECT_EQ(layer3["bit_rate_bps"]["variable"], false);
    const json low = probe_bytes(read_file(media("mpeg2-layer3-mono.mp3")));
    EXPECT_EQ(low["frames"], 118);
}

TEST_F(MpegAudio, IsFollowedAcrossTagsAndDamage) {
    const std::string whole = read_file(media("mpeg1-layer2.mp2"));
    for (const size_t at : {576U * 40, 576U * 40 + 1, 576U * 40 + 575}) {
        std::string bytes = whole;
        const json audio = probe_bytes(bytes.insert(at, 37, '\xFF'));
        EXPECT_EQ(audio["stray"]["runs"], 1) << at;
        EXPECT_GE(audio["frames"], 83) << at;
    }
    for (const size_t left : {size_t{3}, size_t{4}, size_t{575}})
        EXPECT_EQ(probe_bytes(whole.substr(0, 576 * 5 + left))["trailing_bytes"], left);
    // 100000 bytes, seven bits in each byte of the size: more than a first look at a pipe shows
    const std::string id3v2 = std::string("ID3\4\0\0\0\6\15\40", 10) + std::string(100'000, '\xFF');
    const json tagged = probe_bytes(id3v2 + whole + "TAG" + std::string(125, ' '));
    EXPECT_EQ(tagged["frames"], 84);
    EXPECT_EQ(tagged["id3v1"]["tags"], 1);
    EXPECT_EQ(shell("zvprobe " + file(id3v2 + std::string(9000, 'x'))).status, 4);
    EXPECT_EQ(shell("cat stream | zvprobe -").status, 4);
}

TEST_F(MpegAudio, AtAVariableBitRateIsAveraged) {
    std::string slow("\xFF\xFB\x90\x40", 4);  // 128 kbit/s at 44100 Hz
    std::string fast("\xFF\xFB\xA2\x40", 4);  // 160 kbit/s, padded
    slow.resize(417);
    fast.resize(523);
    const json rate = probe_bytes(slow + fast + slow + fast)["bit_rate_bps"];
    EXPECT_EQ(rate["variable"], true);
    EXPECT_NEAR(rate["average"].get<double>(), 1880 * 8 / (4 * 1152 / 44100.0), 1e-6);
}

}  // namespace
