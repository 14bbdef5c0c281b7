// SPDX-License-Identifier: MIT
// FLV as its users need it, from outside: time stamps, the codecs of enhanced tags, what a file says
// of itself against what it holds, and the seek index that `flv-meta` writes.
#include "support/flv_builder.h"
#include "support/tool_run.h"

namespace {

using nlohmann::json;
using namespace zvtest;

constexpr size_t kFirstTag = 13;
constexpr uint8_t kAudio = 4, kVideo = 1;

void append(Bytes& to, const Bytes& bytes) {
    to.insert(to.end(), bytes.begin(), bytes.end());
}

Bytes joined(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& part : parts)
        append(out, part);
    return out;
}

Bytes text(std::string_view characters) {
    return {characters.begin(), characters.end()};
}

// Of Sorenson H.263, 176 x 144, and of 44.1 kHz MP3.
FlvTag key_frame() {
    return video_tag({0x12, 0, 0, 0x80, 0, 0, 0xC0, 0, 0});
}
FlvTag picture() {
    return video_tag({0x22, 0, 0, 0x80, 0, 0, 0xC0, 0, 0});
}
FlvTag sound() {
    return audio_tag({0x2F, 0xFF, 0xFB, 0x90, 0x00});
}

class Flv : public ToolTest {
  protected:
    void put(const Bytes& tags, uint8_t flags) const {
        std::string bytes("FLV\1\5\0\0\0\11\0\0\0\0", kFirstTag);
        bytes[4] = static_cast<char>(flags);
        file(bytes.append(tags.begin(), tags.end()));
    }
    json report(const std::string& name = "stream") const { return account(name)["flv"]; }
    json report_of(const Bytes& tags, uint8_t flags) const {
        put(tags, flags);
        return report();
    }
    int strict() const { return shell("zvprobe --strict stream").status; }
};

struct TimeCase {
    const char* what;
    uint64_t first;         // ms; stamps are its low 32 bits, unless told otherwise
    int64_t step_at_tenth;  // ms, in place of 40
    uint64_t mask = 0xFFFFFFFF;
    double duration = 0.8;
    json counts = {0, 0, 0};  // steps back, jumps, wraps
};

TEST_F(Flv, LastsFromItsFirstFrameToTheEndOfTheLastWhateverTheStamps) {
    const TimeCase cases[] = {
        {"from an hour on", 3'600'000, 40},
        {"across 32 bits", 0xFFFFFFFF - 200, 40, 0xFFFFFFFF, 0.8, {0, 0, 1}},
        {"across the 31 bits of some writers", 0x7FFFFFFF - 200, 40, 0x7FFFFFFF, 0.8, {0, 0, 1}},
        {"a pause that is no gap", 0, 9000, 0xFFFFFFFF, 18 * 0.04 + 9 + 9.72 / 19, {0, 0, 0}},
        {"a gap", 0, 20'000, 0xFFFFFFFF, 20.76, {0, 1, 0}},
        {"a step back", 5000, -500, 0xFFFFFFFF, 0.54, {1, 0, 0}},
    };
    for (const TimeCase& test : cases) {
        Bytes tags = script_tag(Amf().string("onMetaData").object().end());
        uint64_t time = test.first;
        for (int i = 0; i < 20; ++i) {
            append(tags, key_frame().at(static_cast<uint32_t>(time & test.mask)));
            time += static_cast<uint64_t>(i == 9 ? test.step_at_tenth : 40);
        }
        const json flv = report_of(tags, kVideo);
        const json& stamps = flv["timestamps"];
        EXPECT_NEAR(flv["duration_s"].get<double>(), test.duration, 0.001) << test.what;
        EXPECT_EQ(json({stamps["steps_back"], stamps["jumps"], stamps["wraps"]}), test.counts)
            << test.what;
        EXPECT_EQ(strict(), test.counts == json({0, 0, 0}) ? 0 : 1) << test.what;
    }
    EXPECT_NE(shell("zvprobe -v stream").err.find("steps back from 5360 to 4860 ms"),
              std::string::npos);
}

TEST_F(Flv, MayHaveSoundThatLagsAWrapBehind) {
    Bytes tags;
    for (uint32_t i = 0; i < 20; ++i) {
        append(tags, key_frame().at(uint32_t{0} - 400 + 40 * i));
        append(tags, sound().at(uint32_t{0} - 460 + 40 * i));
    }
    const json flv = report_of(tags, kAudio | kVideo);
    EXPECT_EQ(flv["timestamps"]["list"].size(), 1u) << flv["timestamps"];
    EXPECT_EQ(flv["duration_s"], 0.86);
}

// What a configuration or the first frame of a codec says.
struct CodecCase {
    Bytes body;
    const char* codec;
    json facts;  // width and height, or rate and channels
};

Bytes hevc_config() {
    const Bytes sps = {0x42, 0x01, 0x01, 0x04, 0x08, 0x00, 0x00, 0x03, 0x00, 0x9E, 0x08,
                       0x00, 0x00, 0x03, 0x00, 0x00, 0x3C, 0x90, 0x01, 0x41, 0x01, 0x73,
                       0xE5, 0xCB, 0x2B, 0x34, 0x92, 0x65, 0x78, 0x0B, 0x70, 0x20, 0x20,
                       0x00, 0x40, 0x00, 0x00, 0x03, 0x00, 0x40, 0x00, 0x00, 0x06, 0x42};
    Bytes config(22, 0);
    config[0] = 1;
    append(config, {1, 0x21, 0, 1, 0, 44});
    append(config, sps);
    return config;
}

TEST_F(Flv, TellsPictureAndSoundOfEveryCodec) {
    const Bytes av1 = {0x81, 0,    0,    0,    0x0A, 0x0B, 0, 0,   0,
                       4,    0x3C, 0xFE, 0xCC, 0xFB, 0xF9, 0, 0x40};
    const Bytes vp8 = {0xD0, 0x54, 0, 0x9D, 1, 0x2A, 0x40, 0x01, 0xB4, 0};
    const Bytes vp9 = {0xA2, 0x49, 0x83, 0x42, 0xE0, 0x13, 0xF0, 0x0B, 0x36};
    const Bytes avc1 = {1,    0x42, 0xC0, 0x0C, 0xFF, 0xE1, 0,    0x17, 0x67, 0x42, 0xC0,
                        0x0C, 0xDA, 0x05, 0x06, 0x7E, 0x7C, 0x04, 0x40, 0,    0,    0x03,
                        0,    0x40, 0,    0,    0x0C, 0x83, 0xC5, 0x0A, 0xA8, 0};
    const Bytes flac = {0,    0, 0, 34,   0x12, 0,    0x12, 0,    0, 2,
                        0x49, 0, 4, 0xF5, 0x0A, 0xC4, 0x40, 0xF0, 0, 4};
    const Bytes opus = joined({text("OpusHead"), {1, 2, 0x38, 1, 0x80, 0xBB, 0, 0}});
    const Bytes longer = joined({{0x97, 0xFF, 1, 1}, Bytes(258, 0), {0x00}, text("hvc1")});
    const json picture = {320, 180};
    const CodecCase cases[] = {
        {joined({{0x90}, text("avc1"), avc1}), "AVC", picture},
        {joined({{0x90}, text("hvc1"), hevc_config()}), "HEVC", picture},
        {joined({longer, hevc_config()}), "HEVC", picture},
        {joined({{0x1C, 0, 0, 0, 0}, hevc_config()}), "HEVC", picture},
        {joined({{0x90}, text("av01"), av1}), "AV1", picture},
        {joined({{0x91}, text("vp08"), vp8}), "VP8", {320, 180}},
        {joined({{0x93}, text("vp09"), vp9}), "VP9", {320, 180}},
        {{0x13, 0x11, 0x40, 0x10, 0xB4}, "Screen video", picture},
        {{0x16, 0x11, 0x40, 0x10, 0xB4}, "Screen video 2", picture},
        {{0x14, 0x0C, 0x79, 0x36, 0, 0, 12, 20, 12, 20}, "VP6", picture},
        {{0x14, 0x4C, 0x79, 0x36, 0, 0, 12, 20, 12, 20}, "VP6", {316, 180}},
        {{0x15, 0x0C, 0, 0, 9, 0x78, 0x36, 12, 20, 12, 20}, "VP6 with alpha", picture},
        {joined({{0x90}, text("fLaC"), flac}), "FLAC", {44100, 1}},
        {joined({{0x90}, text("Opus"), opus}), "Opus", {48000, 2}},
        {joined({{0x90}, text("mp4a"), {0x12, 0x10}}), "AAC", {44100, 2}},
        {joined({{0x91}, text("ac-3"), {0x0B, 0x77, 0x1E, 0xF8, 0x4C, 0x40, 0x2F, 0x84}}),
         "AC-3",
         {44100, 1}},
        {joined({{0x91}, text("ec-3"), {0x0B, 0x77, 0x01, 0xA0, 0x74, 0x87, 0xC0, 0, 0x20}}),
         "E-AC-3",
         {44100, 2}},
        {joined({{0x91}, text(".mp3"), {0xFF, 0xF3, 0x40, 0xC0}}), "MP3", {22050, 1}},
        {{0x2F, 0xFF, 0xF3, 0x40, 0xC0}, "MP3", {22050, 1}},
        {{0xEE, 0}, "MP3 8 kHz", {8000, 1}},
        {{0xBF, 0}, "Speex", {16000, 1}},
        {{0x53, 0}, "Nellymoser 8 kHz mono", {8000, 1}},
        {{0x4B, 0}, "Nellymoser 16 kHz mono", {16000, 1}},
        {{0x7F, 0}, "G.711 A-law", {8000, 2}},
        {{0x82, 0}, "G.711 mu-law", {8000, 1}},
        {{0x6E, 0}, "Nellymoser", {44100, 1}},
    };
    for (const CodecCase& test : cases) {
        const bool video = test.facts[0] < 1000;
        const FlvTag tag = video ? video_tag(test.body) : audio_tag(test.body);
        const json flv = report_of(tag, video ? kVideo : kAudio);
        const json& track = flv[video ? "video" : "audio"];
        EXPECT_EQ(track["codec"], test.codec);
        const auto size = [&track](const char* side) {
            return track.value(json::json_pointer(std::string("/size/") + side), json());
        };
        const json facts = video ? json({size("width"), size("height")})
                                 : json({track["sample_rate"], track["channels"]});
        EXPECT_EQ(facts, test.facts) << test.codec;
    }
}

TEST_F(Flv, HasFurtherTracksWithCodecsOfTheirOwn) {
    const Bytes many = joined({{0x95, 0x20},
                               text("mp4a"),
                               {0, 0, 0, 2, 0x12, 0x10},
                               text("Opus"),
                               {7, 0, 0, 10},
                               text("OpusHead"),
                               {1, 6}});
    const Bytes one = joined({{0x96, 0x01}, text("vp08"), {3, 0xD0, 0x54, 0, 0x9D, 1, 0x2A}});
    const Bytes size = {0x40, 0x01, 0xB4, 0};
    const Bytes tags = joined({audio_tag(many), video_tag(joined({one, size}))});
    const json flv = report_of(tags, kAudio | kVideo);
    EXPECT_EQ(flv["audio"]["fourcc"], "mp4a");
    EXPECT_EQ(flv["audio"]["sample_rate"], 44100);
    const json& opus = flv["more_tracks"]["audio"].at(0);
    EXPECT_EQ(json({opus["track_id"], opus["codec"], opus["channels"]}), json({7, "Opus", 6}));
    EXPECT_EQ(flv["video"], nullptr);
    EXPECT_EQ(flv["more_tracks"]["video"].at(0)["size"]["height"], 180);
    Bytes cut = many;
    cut.resize(16);  // before the second track's size
    EXPECT_EQ(report_of(audio_tag(cut), kAudio)["more_tracks"]["audio"].size(), 0u);
}

// -> an AVC or AAC tag: its configuration or a frame
FlvTag avc(uint8_t type, uint8_t level = 30) {
    return video_tag({0x17, type, 0, 0, 0, 1, 66, 0xC0, level, 0xFF, 0xE0, 0});
}

Amf meta(std::string_view key, double value) {
    return Amf().string("onMetaData").object().number(key, value).end();
}

// What is wrong in a file, where the report says so, and whether it is an error.
struct CheckCase {
    const char* member;
    json expected;
    bool error;
    Bytes tags;
    uint8_t flags = kVideo;
};

TEST_F(Flv, IsHeldAgainstWhatItSays) {
    const Bytes plain = joined({key_frame(), picture().at(40), picture().at(80)});
    const auto with = [&](const FlvTag& tag) { return joined({tag, plain}); };
    const auto said = [&](std::string_view key, double value) {
        return with(script_tag(meta(key, value)));
    };
    const char* const differences = "/checks/metadata_differences/0/key";
    Bytes longer = plain;
    for (uint32_t i = 3; i < 12; ++i)
        append(longer, picture().at(40 * i));
    const auto longer_saying = [&](double rate) {
        return joined({script_tag(meta("framerate", rate)), longer});
    };
    const auto sound_saying = [&](std::string_view key, double value, const FlvTag& first) {
        return joined({script_tag(meta(key, value)), first, first});
    };
    const FlvTag nellymoser = audio_tag({0x4B, 0});
    const Bytes opus_pair = joined({{0x95, 0x11}, text("Opus"), {0, 0, 0, 1, 1, 1, 0, 0, 1, 1}});
    const CheckCase cases[] = {
        {"/checks/header_flags_right", true, false, plain},
        {"/checks/header_flags_right", false, true, plain, kAudio | kVideo},
        {"/checks/header_flags_right", false, true, plain, 0},
        {"/checks/stream_id_tags", 1, true, with(sound().stream_id(5)), kAudio | kVideo},
        {"/checks/on_meta_data_tags", 2, false, joined({said("x", 1), script_tag(meta("x", 2))})},
        {"/tags/encrypted", 1, false, with(picture().filtered())},
        {"/video/frames_without_config", 1, true, joined({avc(1), avc(0), avc(1).at(40)})},
        {"/video/config_changes", 1, false, joined({avc(0), avc(0), avc(1), avc(0, 31)})},
        {differences, "duration", true, said("duration", 9)},
        {differences, nullptr, false, said("duration", 1.1)},
        {differences, nullptr, false, said("duration", 0)},
        {differences, "filesize", true, said("filesize", 1000)},
        {differences, "width", true, said("width", 177)},
        {differences, "height", true, said("height", 145)},
        {differences, "framerate", true, longer_saying(50)},
        {differences, nullptr, false, longer_saying(25)},
        {differences, "audiosamplerate", true, sound_saying("audiosamplerate", 22050, sound()),
         kAudio},
        {differences, "audiocodecid", true, sound_saying("audiocodecid", 10, sound()), kAudio},
        {differences, nullptr, false, sound_saying("audiocodecid", 6, nellymoser), kAudio},
        {"/audio/frames_without_config", 1, true, audio_tag(opus_pair), kAudio},
        {"/more_tracks/audio/0/frames_without_config", 1, true,
         audio_tag(joined({{0x95, 0x01}, text("Opus"), {1, 0}})), kAudio},
        {"/video/frames", 3, false, with(video_tag({0xD1, 0}))},
        {"/video/codec", "Sorenson H.263", false, with(video_tag({0xD1, 0}))},
        {differences, "videocodecid", true, said("videocodecid", 7)},
        {differences, nullptr, false, said("videocodecid", 2)},
        {differences, "videodatarate", false, said("videodatarate", 500)},
    };
    for (const CheckCase& test : cases) {
        const json flv = report_of(test.tags, test.flags);
        EXPECT_EQ(flv.value(json::json_pointer(test.member), json()), test.expected) << test.member;
        EXPECT_EQ(strict(), test.error ? 1 : 0) << test.member << ' ' << flv["checks"];
    }
    put(joined({said("x", 1), said("y", 2), avc(1).stream_id(9), avc(0), avc(0, 31)}), kVideo);
    const std::string told = shell("zvprobe -v stream").err;
    for (const char* const finding : {"another onMetaData", "stream id 9",
                                      "before the codec's config", "configuration changes"})
        EXPECT_NE(told.find(finding), told.npos) << finding << '\n' << told;
}

// Of encrypted tags the heads can be read: when their frames come, of what codec, and which are key
// frames. Their configurations are not compared.
TEST_F(Flv, IsMeasuredByTheHeadsOfEncryptedTags) {
    const Bytes config = joined({avc(0), avc(0).filtered(), avc(0, 31).filtered()});
    Bytes tags = avc(0, 20).filtered();
    append(tags, config);
    for (uint32_t i = 0; i < 20; ++i)
        append(tags, avc(1).at(40 * i).filtered());
    const json flv = report_of(tags, kVideo);
    EXPECT_EQ(flv["tags"]["encrypted"], 23);
    EXPECT_EQ(flv["duration_s"], 0.8);
    const json& video = flv["video"];
    EXPECT_EQ(json({video["frames"], video["key_frames"], video["config_changes"]}),
              json({20, 20, 0}));
    EXPECT_EQ(video["avc_config"]["level"], 30) << "of the first one that can be read";
    EXPECT_EQ(strict(), 0);
}

// -> where the tag after the first one begins
size_t after_script(const std::string& file) {
    const auto byte = [&file](size_t at) {
        return size_t{static_cast<uint8_t>(file[kFirstTag + at])};
    };
    return kFirstTag + 15 + (byte(1) << 16 | byte(2) << 8 | byte(3));
}

// -> the last block of the file, and a test that its index leads to key frames
json check_index(const json& flv, const std::string& bytes) {
    const json block = flv["script_data"][0]["values"][0];
    const json& positions = block["keyframes"]["filepositions"];
    EXPECT_EQ(positions.size(), flv["video"]["key_frames"]);
    for (const json& position : positions) {
        EXPECT_EQ(bytes[position], 9);
        EXPECT_EQ(bytes[position.get<size_t>() + 11] >> 4, 1);
    }
    EXPECT_EQ(block["lastkeyframelocation"], positions.back());
    EXPECT_EQ(block["lastkeyframetimestamp"], block["keyframes"]["times"].back());
    EXPECT_EQ(block["hasKeyframes"], true);
    const double size_words = 4 * (flv["tags"]["total"].get<double>() - 1);
    EXPECT_EQ(block["videosize"].get<double>() + block.value("audiosize", 0.0) + size_words,
              static_cast<double>(bytes.size() - after_script(bytes)));
    EXPECT_EQ(block["filesize"], bytes.size());
    EXPECT_EQ(block["duration"], flv["duration_s"]);
    EXPECT_EQ(bytes.substr(24, 14), std::string("\2\0\12onMetaData\10", 14));
    return block;
}

TEST_F(Flv, GetsAnIndexToSeekByAndKeepsItsTags) {
    constexpr size_t kSecondTag = kFirstTag + 308;  // of the samples, after onMetaData
    for (const char* const name : {"h264-aac.flv", "h263-mp3.flv"}) {
        ASSERT_EQ(shell("zvprobe flv-meta '" + media(name) + "' out").status, 0);
        const std::string written = read_file(dir_ / "out");
        EXPECT_TRUE(written.ends_with(read_file(media(name)).substr(kSecondTag)));
        const json block = check_index(report("out"), written);
        EXPECT_EQ(json({block["height"], block["framerate"], block["stereo"]}),
                  json({180, 25.0, false}));
        EXPECT_EQ(block["canSeekToEnd"], false);
        EXPECT_EQ(block["encoder"], report(media(name))["script_data"][0]["values"][0]["encoder"]);
        EXPECT_EQ(shell("ulimit -f 8; zvprobe -q flv-meta --update out").status, 3);
        EXPECT_EQ(shell("zvprobe --strict out && zvprobe -q flv-meta --update out").status, 0);
        EXPECT_EQ(read_file(dir_ / "out"), written);
    }
    EXPECT_EQ(shell("zvprobe flv-meta out").status, 2);
    EXPECT_EQ(shell("zvprobe flv-meta --update out more").status, 2);
    EXPECT_EQ(shell("ls").out, "out\nstderr\n");
}

TEST_F(Flv, KeepsWhatTheOldBlockHasBeyondTheNewOne) {
    Amf old = Amf().string("onMetaData").ecma_array(9).string("creator", "me");
    old.date("created", 1e12).number("duration", 99).key("keyframes").object().end();
    old.object("cue").number("at", 2).end().end();
    put(joined({script_tag(old), key_frame(), key_frame().at(40)}), kVideo);
    ASSERT_EQ(shell("zvprobe flv-meta stream out").err, "");
    const json block = check_index(report("out"), read_file(dir_ / "out"));
    EXPECT_EQ(json({block["creator"], block["created"], block["cue"]}),
              json({"me", {{"unix_ms", 1e12}}, {{"at", 2.0}}}));
    EXPECT_EQ(block["keyframes"]["times"], json({0.0, 0.04}));
    EXPECT_EQ(block["canSeekToEnd"], true);
    const Bytes damaged = Amf().string("onMetaData").object().string("a", "b").raw({0, 1, 'c', 99});
    put(joined({script_tag(damaged), key_frame()}), kVideo);
    EXPECT_NE(shell("zvprobe flv-meta stream out").err.find("not all of the old"),
              std::string::npos);
    EXPECT_EQ(report("out")["script_data"][0]["values"][0]["a"], "b");
}

TEST_F(Flv, IsMovedToTimeZeroWithoutItsWrap) {
    for (const uint64_t range : {uint64_t{1} << 31, uint64_t{1} << 32}) {
        Bytes tags = avc(0);  // at 0, before the first frame
        for (uint64_t i = 0; i < 20; ++i) {
            const auto stamp = [&](uint64_t lag) {
                return static_cast<uint32_t>((range - 400 + 40 * i - lag) % range);
            };
            append(tags, avc(1).at(stamp(0)));
            append(tags, sound().at(stamp(60)).misstate_size_word_by(i == 3 ? 9 : 0));
        }
        put(tags, kAudio | kVideo);
        ASSERT_EQ(shell("zvprobe -q flv-meta --rebase stream out").status, 0);
        EXPECT_EQ(shell("zvprobe --strict out").status, 0);
        const json flv = report("out");
        const std::string bytes = read_file(dir_ / "out");
        EXPECT_EQ(bytes.substr(after_script(bytes) + 4, 4), std::string(4, '\0'))
            << "the configuration is not before the first frame";
        EXPECT_EQ(flv["timestamps"]["first_ms"], 0);
        EXPECT_EQ(flv["timestamps"]["last_ms"], 60 + 19 * 40);
        EXPECT_EQ(flv["tags"]["total"], 42);
        const json block = check_index(flv, bytes);
        EXPECT_EQ(block["keyframes"]["times"][19], 0.82);
        EXPECT_EQ(block["lasttimestamp"], 0.82);
    }
}

}  // namespace
