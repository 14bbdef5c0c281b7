// SPDX-License-Identifier: MIT
// MPEG audio as the tool's users have it, in frames made here: info frames, tags of all kinds, RIFF,
// free format, CRCs, changes in mid-stream, and the files that `mp3-fix` writes.
#include "support/tool_run.h"

namespace {

using nlohmann::json;
using namespace zvtest;

const std::string kStereo128("\xFF\xFB\x90\x40", 4);  // MPEG-1 Layer III, 128 kbit/s, 44100 Hz
const std::string kStereo160("\xFF\xFB\xA0\x40", 4);
const std::string kMono64("\xFF\xF3\x80\xC0", 4);  // MPEG-2 Layer III, 64 kbit/s, 22050 Hz
constexpr size_t kSize128 = 417, kSize160 = 522, kSize64 = 208;

std::string frame(const std::string& header, size_t size) {
    std::string bytes = header;
    bytes.resize(size, '\x11');
    return bytes;
}

std::string times(size_t count, const std::string& text) {
    std::string out;
    while (count-- > 0)
        out += text;
    return out;
}

std::string word(uint32_t value, bool little = false) {
    std::string out;
    for (int i = 0; i < 4; ++i)
        out += static_cast<char>(value >> (little ? 8 * i : 24 - 8 * i));
    return out;
}

const std::string kSound = times(20, frame(kStereo128, kSize128));

// As LAME writes it: 576 samples before the sound, 1200 after it.
std::string info_frame(uint32_t frames, uint32_t bytes) {
    std::string out = frame(kStereo128, 36);
    std::fill(out.begin() + 4, out.end(), '\0');
    out += "Info" + word(0xF) + word(frames) + word(bytes) + std::string(100, '\1') + word(77);
    out += "LAME3.100" + std::string(12, '\0') + std::string("\x24\x04\xB0", 3);
    out.resize(kSize128, '\0');
    return out;
}

// CRC-16, least significant bits first, as it ends an info frame.
std::string info_crc(const std::string& bytes) {
    uint32_t value = 0;
    for (const char byte : bytes) {
        value ^= static_cast<uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit)
            value = value >> 1 ^ ((value & 1) != 0 ? 0xA001U : 0);
    }
    return {static_cast<char>(value >> 8), static_cast<char>(value)};
}

std::string id3v1() {
    return "TAG" + std::string("Old title") + std::string(116, ' ');
}

std::string ape_mark(uint32_t version, size_t items, uint32_t flags) {
    return "APETAGEX" + word(version, true) + word(static_cast<uint32_t>(items) + 32, true) +
           word(1, true) + word(flags, true) + std::string(8, '\0');
}

std::string ape_items() {
    const std::string title = "Neu \xC3\xBC";
    return word(static_cast<uint32_t>(title.size()), true) + word(0) + std::string("TITLE\0", 6) +
           title;
}

std::string ape_v1() {
    return ape_items() + ape_mark(1000, ape_items().size(), 0);
}

// Written by some without the mark in front, by others without the one at the end.
std::string ape_v2_footer() {
    return ape_items() + ape_mark(2000, ape_items().size(), 0);
}

std::string ape_v2_header() {
    return ape_mark(2000, ape_items().size() - 32, 0xE0000000) + ape_items();
}

std::string ape_v2() {
    const size_t size = ape_items().size();
    return ape_mark(2000, size, 0xA0000000) + ape_items() + ape_mark(2000, size, 0x80000000);
}

const std::string kLyrics2 = "LYRICSBEGININD0000200LYR00005laleo000034LYRICS200";
const std::string kLyrics1 = "LYRICSBEGIN" + times(500, "la la la ") + "LYRICSEND";

std::string id3v2(char version, char flags, const std::string& frames) {
    std::string out = std::string("ID3") + version + '\0' + flags + std::string(2, '\0');
    out += static_cast<char>(frames.size() >> 7);
    return out + static_cast<char>(frames.size() & 0x7F) + frames;
}

std::string riff(const std::string& sound, char format) {
    const std::string fmt = "WAVEfmt " + word(4, true) + format + std::string(3, '\0') + "JUNK" +
                            word(3, true) + std::string("abc\0", 4);
    const std::string data = "data" + word(static_cast<uint32_t>(sound.size()), true) + sound;
    const std::string rest = std::string(sound.size() & 1, '\0') + "LIST" + word(4, true) + "INFO";
    const auto size = static_cast<uint32_t>(fmt.size() + data.size() + rest.size());
    return "RIFF" + word(size, true) + fmt + data + rest;
}

class MpegAudio : public ToolTest {
  protected:
    // What is told of the bytes as a file, and through a pipe; strict: the status of --strict
    json probe(const std::string& bytes, int strict = 0) const {
        const json seen = account(file(bytes))["mpeg_audio"];
        const Outcome piped = shell("cat stream | zvprobe --strict --json -");
        EXPECT_EQ(piped.status, strict) << seen;
        EXPECT_EQ(json::parse(piped.out)["sources"][0]["mpeg_audio"], seen);
        return seen;
    }
    // -> the fixed copy, itself fixed to the same bytes
    std::string fixed(const std::string& bytes) const {
        file(bytes);
        const Outcome outcome =
            shell("zvprobe mp3-fix stream out && zvprobe -q mp3-fix out again && cmp out again");
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return read_file(dir_ / "out");
    }
};

TEST_F(MpegAudio, IsDescribedByItsSoundAndLastsAsLongAsWasEncoded) {
    const std::string sound = times(20, frame(kStereo160, kSize160));
    const auto size = static_cast<uint32_t>(kSize128 + sound.size());
    const json right = probe(info_frame(20, size) + sound);
    EXPECT_EQ(right["first_frame"]["bit_rate_bps"], 160000);
    EXPECT_EQ(right["first_frame"]["offset"], kSize128);
    EXPECT_EQ(right["duration_s"], (20 * 1152 - 576 - 1200) / 44100.0);
    EXPECT_EQ(right["info"]["encoder"], "LAME3.100");
    EXPECT_EQ(right["info"]["differs_in"], json::array());
    // Some encoders count tags as bytes of the file, some the info frame as one of its frames.
    const std::string tag = id3v1();
    EXPECT_EQ(probe(info_frame(21, size + 128) + sound + tag)["info"]["differs_in"], json::array());
    // With a CRC the mark may stand two bytes on; a long name of an encoder is no extension.
    std::string other = info_frame(20, size);
    other.replace(156, 20, "LAME3.88 (beta 1)   ").insert(36, 2, '\0');
    other[1] = '\xFA';
    const json old = probe(other.substr(0, kSize128) + sound);
    EXPECT_EQ(json({old["info_frame"], old["info"]["encoder"]}), json({"Info", nullptr}));
    EXPECT_EQ(old["duration_s"], 20 * 1152 / 44100.0);
    // Cut off: what is missing is told, and the last frames are sound to their end.
    const json cut = probe(info_frame(30, size + 1) + sound, 1);
    EXPECT_EQ(cut["info"]["differs_in"], json({"frames", "bytes"}));
    EXPECT_EQ(cut["duration_s"], (20 * 1152 - 576) / 44100.0);

    std::string vbri = frame(kStereo128, 36) + "VBRI" + std::string(6, '\0') + word(9000) +
                       word(20) + std::string("\0\7", 2);
    vbri.resize(kSize128);
    EXPECT_EQ(probe(vbri + sound, 1)["info"]["differs_in"], json({"bytes"}));
    EXPECT_EQ(probe(frame(kStereo160, kSize160) + kSound)["info_frame_missing"], true);
    const std::string told = shell("zvprobe -v stream").err;
    EXPECT_NE(told.find("the bit rate varies"), told.npos) << told;
}

TEST_F(MpegAudio, HasTagsOfEveryKindAndOtherwiseNoStrayBytes) {
    const std::string none(1, '\0');
    const std::string utf16 = std::string("TIT2\0\0\0\7\0\0\1\xFF\xFE\xE4\0\xE5\0", 17);
    const std::string unsynchronised = std::string("TT2\0\0\5\1\xFF\0\xFE\xE4\0", 12);
    const std::string utf8 = std::string("TIT2\0\0\0\4\0\0\3abc", 14);
    const struct {
        std::string before, after, title;
        const char* counted;
        size_t size;
    } cases[] = {
        {"", ape_v2() + id3v1(), "Neu \u00fc", "ape", ape_v2().size()},
        {"", ape_v1() + id3v1(), "Neu \u00fc", "ape", ape_v1().size()},
        {"", ape_v2_footer() + id3v1(), "Neu \u00fc", "ape", ape_v2_footer().size()},
        {ape_v2_header(), "", "Neu \u00fc", "ape", ape_v2_header().size()},
        {ape_v2(), "", "Neu \u00fc", "ape", ape_v2().size()},
        {"", kLyrics2 + id3v1(), "Old title", "lyrics3", kLyrics2.size()},
        {"", kLyrics1 + id3v1(), "Old title", "lyrics3", kLyrics1.size()},
        {id3v2(3, 0, utf16), id3v1(), "\u00e4\u00e5", "id3v1", 128},
        {id3v2(2, '\x80', unsynchronised), ape_v1(), "\u00e4", "id3v2", 22},
        {id3v2(4, 0, utf8), "", "abc", "id3v2", 24},
        {id3v2(4, '\x10', utf8) + "3DI" + std::string(7, '\0'), "", "abc", "id3v2", 34},
        {"", "TAG+" + std::string(223, 'x') + id3v1(), "Old title", "id3v1", 355},
    };
    for (const auto& the : cases) {
        SCOPED_TRACE(the.counted + (" " + the.title));
        const std::string bytes = the.before + kSound + the.after;
        const json audio = probe(bytes);
        EXPECT_EQ(audio["frames"], 20);
        EXPECT_EQ(audio["texts"]["title"], the.title);
        EXPECT_EQ(audio[the.counted], json({{"tags", 1}, {"bytes", the.size}}));
        const std::string copy = fixed(bytes);
        EXPECT_TRUE(copy.starts_with(the.before) && copy.ends_with(kSound + the.after));
    }
    // Damage in front of tags does not hide them; a tag without its end is none.
    EXPECT_EQ(probe(kSound + "rubbish" + ape_v2() + "more" + id3v1(), 1)["stray"]["bytes"], 11);
    EXPECT_EQ(probe(kSound + ape_items(), 1)["stray"]["bytes"], ape_items().size());
    EXPECT_EQ(probe(kSound + kLyrics1.substr(0, 900), 1)["stray"]["bytes"], 900);
}

std::string id3_text(const std::string& key, const std::string& text, char flags = 0) {
    const size_t size = text.size();
    const char size_bytes[] = {0, 0, static_cast<char>(size >> 7), static_cast<char>(size & 0x7F)};
    return key + std::string(size_bytes, 4) + '\0' + flags + text;
}

std::string ape_text(const std::string& key, const std::string& text) {
    return word(static_cast<uint32_t>(text.size()), true) + word(0) + key + '\0' + text;
}

TEST_F(MpegAudio, TellsTitleArtistAndAlbumOfItsTags) {
    const std::string zero(1, '\0');
    const std::string name(130, 'n');  // its size is not the same with seven bits in a byte
    const std::string plain =
        id3_text("TIT2", zero + "t") + id3_text("TPE1", zero + "p") + id3_text("TALB", zero + "a");
    const std::string items =
        ape_text("Title", "t") + ape_text("ARTIST", "p") + ape_text("album", "a");
    std::string old = id3v1();
    old.replace(3, 90, std::string("t") + std::string(29, ' ') + "p" + std::string(29, '\0') + "a");
    old.resize(128, ' ');
    const struct {
        std::string before, after;
        json texts;
    } cases[] = {
        {id3v2(4, 0, plain), "", {"t", "p", "a"}},
        {id3v2(3, '\x40', word(6) + std::string(6, '\0') + plain), "", {"t", "p", "a"}},
        {id3v2(4, '\x40', word(6) + std::string("\1\0", 2) + plain), "", {"t", "p", "a"}},
        {id3v2(2, 0, std::string("TP1\0\0\2\0pTAL\0\0\2\0a", 16)),
         id3v1(),
         {"Old title", "p", "a"}},
        {id3v2(4, 0, id3_text("TPE1", zero + name) + plain), "", {"t", name, "a"}},
        {id3v2(4, 0, id3_text("TIT2", zero + "x", 8) + plain), "", {"t", "p", "a"}},
        {id3v2(4, 0, plain + id3_text("TALB", "b")), "", {"t", "p", "a"}},
        {id3v2(4, 0, id3_text("TALB", std::string("\2\0\xE4", 3)) + plain),
         "",
         {"t", "p", "\u00e4"}},
        {"", items + ape_mark(1000, items.size(), 0), {"t", "p", "a"}},
        {"", old, {"t", "p", "a"}},
    };
    for (const auto& the : cases) {
        const json texts = probe(the.before + kSound + the.after)["texts"];
        EXPECT_EQ(json({texts["title"], texts["artist"], texts["album"]}), the.texts);
    }
}

TEST_F(MpegAudio, IsFoundAfterJunkAndInRiff) {
    constexpr size_t kMostJunk = size_t{64} << 10;
    const std::string title = id3v2(4, 0, std::string("TIT2\0\0\0\4\0\0\3abc", 14));
    for (const std::string& tag : {std::string(), title, ape_v2()}) {
        for (const size_t junk : {size_t{3000}, kMostJunk}) {
            const std::string bytes = std::string(junk, '\xFE') + tag + kSound;
            const json audio = probe(bytes, 1);
            EXPECT_EQ(audio["first_frame"]["offset"], junk + tag.size());
            EXPECT_EQ(audio["stray"]["bytes"], junk);
            const std::string copy = fixed(bytes);
            EXPECT_TRUE(copy.starts_with(tag) && copy.ends_with(kSound));
        }
        file(std::string(kMostJunk + 1, '\xFE') + tag + kSound);
        EXPECT_EQ(shell("zvprobe stream").status, 4);
    }
    file("junk" + title + std::string(9000, 'x'));
    EXPECT_EQ(shell("zvprobe stream").status, 4) << "a tag of something else";
    const json audio = probe(riff(kSound + frame(kStereo128, kSize128 - 4), 0x55) + id3v1(), 1);
    EXPECT_EQ(audio["trailing_bytes"], kSize128 - 4) << "the LIST chunk is no part of the frame";
    EXPECT_EQ(probe(riff(kSound, 0x50) + id3v1())["riff_bytes"], 44 + 12);
    EXPECT_EQ(fixed(riff(kSound, 0x55)).size(), kSize128 + kSound.size());
    for (const uint32_t size : {static_cast<uint32_t>(kSound.size()), 0xFFFFFFFFU, 0U}) {
        const std::string written = "RIFF" + word(size, true) + "RMP3data" + word(size, true);
        EXPECT_EQ(probe(written + kSound)["frames"], 20) << "unknown sizes are left as they were";
    }
    file(riff(kSound, 1));
    EXPECT_EQ(shell("zvprobe stream").status, 4) << "PCM";
}

TEST_F(MpegAudio, HasNoFramesOfZeros) {
    const std::string zeros(700, '\0');
    EXPECT_EQ(probe(kSound + zeros + kSound + zeros, 1)["stray"]["bytes"], 1400);
}

TEST_F(MpegAudio, IsFollowedAtAFreeBitRate) {
    const std::string plain = frame(std::string("\xFF\xFB\x00\x40", 4), 700);
    const std::string padded = frame(std::string("\xFF\xFB\x02\x40", 4), 701);
    const std::string other = frame(std::string("\xFF\xFB\x00\x40", 4), 900);
    const json audio = probe("junk" + times(10, plain + padded) + "junk" + times(5, plain), 1);
    EXPECT_EQ(audio["free_format"], true);
    EXPECT_EQ(audio["frames"], 25);
    EXPECT_EQ(audio["stray"]["bytes"], 8);
    EXPECT_EQ(audio["bit_rate_bps"]["highest"], 214000);  // 700 bytes in 1152 samples
    EXPECT_EQ(probe(times(9, plain) + "junk" + times(9, other), 1)["frames"], 18);
    EXPECT_EQ(fixed(times(9, plain)).size(), 7000);
    file(times(9, plain) + "junk" + times(9, plain));
    EXPECT_EQ(shell("zvprobe mp3-fix stream out2").status, 4);
}

TEST_F(MpegAudio, HasItsFramesChecked) {
    // Each layer's frame of zeros, whose CRC covers the header's end and so many zero bits; in the
    // last two of Layer II one subband has bits, so that the selection of its scale factors counts.
    const struct {
        std::string header;
        size_t size;
        std::string crc;
        std::string after = "";
    } cases[] = {
        {std::string("\xFF\xFE\x44\0", 4), 128, "\x30\xA3"},    // Layer I, stereo: 256
        {std::string("\xFF\xFE\x44\x40", 4), 128, "\xC5\x64"},  // joint stereo from band 4: 144
        {std::string("\xFF\xFC\xA4\0", 4), 576, "\x33\x3B"},    // Layer II, table B.2a: 176
        {std::string("\xFF\xF4\x84\xC0", 4), 384, "\x57\x43"},  // MPEG-2: 75
        {std::string("\xFF\xFC\xA0\0", 4), 626, "\x6F\xE7"},    // B.2b: 188
        {std::string("\xFF\xFC\x80\0", 4), 417, "\xE4\x46"},    // B.2a: 176
        {std::string("\xFF\xFC\x40\0", 4), 208, "\xB4\x83"},    // B.2c: 52
        {std::string("\xFF\xFC\x48\0", 4), 288, "\xA3\xA6"},    // B.2d: 76
        {std::string("\xFF\xFC\x40\xC0", 4), 208, "\xD2\xC9", "\x10"},  // B.2a, mono: 88 + 2
        {std::string("\xFF\xFC\x80\x50", 4), 417, "\xCE\x01",
         std::string("\0\0\0\0\0\0\0\0\x10", 9)},               // joint stereo from band 8: 120 + 4
        {std::string("\xFF\xFA\x94\x40", 4), 384, "\xEB\x59"},  // Layer III: 256
        {std::string("\xFF\xFA\x94\xC0", 4), 384, std::string("\x01\x5C")},  // mono: 136
        {std::string("\xFF\xF2\x84\xC0", 4), 192, "\x9A\xEB"},               // MPEG-2, mono: 72
    };
    for (const auto& the : cases) {
        std::string right = the.header + the.crc + the.after;
        right.resize(the.size);
        std::string wrong = right;
        wrong[10] ^= 1;
        const json crc = probe(times(5, right) + wrong, 1)["crc"];
        EXPECT_EQ(crc["frames"], 6);
        EXPECT_EQ(crc["wrong"], 1) << crc;
        EXPECT_EQ(crc["wrong_list"][0]["offset"], 5 * the.size);
    }
}

TEST_F(MpegAudio, IsToldToChangeInMidStream) {
    const std::string other = times(9, frame(kMono64, kSize64));
    const json changes = probe(kSound + other + kSound, 1)["changes"];
    EXPECT_EQ(changes["count"], 2);
    EXPECT_EQ(changes["change_list"][0], json({{"offset", kSound.size()},
                                               {"version", "MPEG-2"},
                                               {"layer", 3},
                                               {"sample_rate", 22050}}));
    EXPECT_EQ(shell("zvprobe mp3-fix stream out").status, 4) << "no count could speak for both";
}

TEST_F(MpegAudio, IsFixedByARightInfoFrame) {
    // Half the sound lasts at 128 kbit/s, the other half at 160.
    const std::string sound = kSound + times(20, frame(kStereo160, kSize160));
    const std::string damaged = sound.substr(0, kSound.size()) + id3v1() + "stray" +
                                sound.substr(kSound.size()) + kSound.substr(0, 99);
    const std::string copy = fixed(info_frame(99, 9) + damaged);
    EXPECT_TRUE(copy.ends_with(sound));
    const std::string told = shell("zvprobe mp3-fix stream out").err;
    EXPECT_NE(told.find("104 bytes of no whole frame left out"), told.npos) << told;
    EXPECT_NE(told.find("128 bytes of tags between frames left out"), told.npos) << told;
    const json audio = probe(copy);
    EXPECT_EQ(audio["info_frame"], "Xing");
    EXPECT_EQ(audio["info"]["frames"], 40);
    EXPECT_EQ(audio["info"]["bytes"], copy.size());
    EXPECT_EQ(audio["info"]["delay_samples"], 576);
    EXPECT_EQ(audio["info"]["padding_samples"], 0) << "the end is not the encoder's";
    const size_t table = 36 + 16;
    for (const size_t percent : {0U, 25U, 50U, 95U}) {
        const size_t at = percent * 40 / 100;
        const size_t before = copy.size() - sound.size() + std::min<size_t>(at, 20) * kSize128 +
                              (at - std::min<size_t>(at, 20)) * kSize160;
        EXPECT_EQ(static_cast<uint8_t>(copy[table + percent]), before * 256 / copy.size());
    }
    const std::string same = info_frame(20, static_cast<uint32_t>(kSize128 + kSound.size()));
    const std::string again = fixed(same + kSound);
    EXPECT_EQ(probe(again)["info"]["padding_samples"], 1200);
    const size_t extension = table + 100 + 4;
    EXPECT_EQ(again.substr(extension - 4, 13), word(77) + "LAME3.100");
    EXPECT_EQ(again.substr(extension + 28, 8), word(static_cast<uint32_t>(again.size())) +
                                                   info_crc(kSound) +
                                                   info_crc(again.substr(0, extension + 34)));
}

TEST_F(MpegAudio, IsNotWrittenByHalves) {
    file(times(100, kSound));
    EXPECT_EQ(shell("ulimit -f 100; zvprobe mp3-fix stream out").status, 3);
    EXPECT_EQ(shell("cat stream | zvprobe mp3-fix - out").status, 3);
    EXPECT_EQ(shell("zvprobe mp3-fix '" + media("single.ts") + "' out").status, 4);
    EXPECT_EQ(shell("ls").out, "stderr\nstream\n");
    EXPECT_EQ(shell("zvprobe mp3-fix stream stream && zvprobe --strict stream").status, 0);
}

}  // namespace
