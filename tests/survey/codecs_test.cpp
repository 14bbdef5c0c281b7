// SPDX-License-Identifier: MIT
// Codecs: real parameter sets and frames of public encoders (the seeds of the fuzz target, cut to
// the byte that settles them), and made ones for what no such encoder writes.
#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <initializer_list>
#include <vector>

#include "support/folder.h"
#include "support/guarded_buffer.h"
#include "survey/codecs/audio/aac_config.h"
#include "survey/codecs/audio/mpeg_audio.h"
#include "survey/codecs/codec.h"
#include "survey/codecs/scte35.h"
#include "survey/codecs/subtitles.h"
#include "survey/codecs/video/video.h"

namespace zv::survey {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes load_sample(const std::string& name) {
    const std::string bytes = zvtest::read_file(ZV_CODEC_SAMPLES "/" + name);
    if (bytes.size() < 3) throw std::runtime_error("cannot read " + name);
    return {bytes.begin(), bytes.end()};
}

// A sample: stream_type, HDMV, length of descriptors, descriptors, elementary stream.
struct Sample {
    explicit Sample(Bytes from) : bytes(std::move(from)) {
        const std::span<const uint8_t> all(bytes);
        declared = {bytes[0], all.subspan(3, bytes[2]), bytes[1] != 0};
        es = all.subspan(3 + bytes[2]);
    }
    Bytes bytes;
    DeclaredStream declared = {};
    std::span<const uint8_t> es;
};

// "h264 720x576 25.00 High 3.0 i 8 4:2:0", "ac3 48000 Hz 6 ch 224000"; "?" where not settled
std::string summary(const CodecFacts& facts) {
    const char* name = codec_name(facts.codec);
    std::string out = name != nullptr ? name : "unknown";
    char text[128] = "";
    if (facts.video) {
        const VideoDetails& v = *facts.video;
        snprintf(text, sizeof text, " %ux%u %.2f %s %s %s %u %s", v.width, v.height, v.frame_rate,
                 v.profile, v.level,
                 v.interlaced < 0   ? "-"
                 : v.interlaced > 0 ? "i"
                                    : "p",
                 v.bit_depth, v.chroma != nullptr ? v.chroma : "-");
    }
    if (facts.audio) {
        const AudioDetails& a = *facts.audio;
        snprintf(text, sizeof text, " %u Hz %u ch %u %s", a.sample_rate, a.channels, a.bit_rate_bps,
                 a.profile);
    }
    out += text;
    return facts.settled ? out : out + "?";
}

std::string read(const DeclaredStream& stream, std::span<const uint8_t> es) {
    return summary(read_codec(stream, es));
}

struct Expected {
    const char* sample;
    const char* facts;
};

// As a common player's probe shows the streams that the samples were cut from.
constexpr Expected kExpected[] = {
    {"h264-high", "h264 720x576 25.00 High 3.0 p 8 4:2:0"},
    {"h264-interlaced-hrd", "h264 720x576 25.00 High 3.0 i 8 4:2:0"},
    {"h264-level-1b", "h264 128x96 25.00 Main 1b p 8 4:2:0"},
    {"h264-high-422", "h264 720x576 25.00 High 4:2:2 3.0 p 10 4:2:2"},
    {"h264-monochrome", "h264 720x576 25.00 High 3.0 p 8 4:0:0"},
    {"h264-scaling-lists", "h264 720x576 25.00 High 3.0 p 8 4:2:0"},
    {"h264-cropped-2997", "h264 1920x1080 29.97 Constrained Baseline 4.0 p 8 4:2:0"},
    {"h264-444", "h264 720x576 25.00 High 4:4:4 Predictive 3.0 p 8 4:4:4"},
    {"hevc-main-10-hrd", "hevc 1920x1080 25.00 Main 10 4.0 p 10 4:2:0"},
    {"hevc-444-12", "hevc 720x576 25.00 Rext 3.0 p 12 4:4:4"},
    {"hevc-fields", "hevc 720x1152 12.50 Main 3.0 i 8 4:2:0"},  // frames, not fields
    {"hevc-temporal-layers", "hevc 720x576 25.00 Main 3.0 p 8 4:2:0"},
    {"hevc-scaling-lists", "hevc 720x576 25.00 Main 3.0 p 8 4:2:0"},
    {"mpeg1-video", "mpeg1video 720x576 25.00   p 8 4:2:0"},
    {"mpeg2-main", "mpeg2video 720x576 25.00 Main Main p 8 4:2:0"},
    {"mpeg2-interlaced", "mpeg2video 720x576 25.00 Main Main i 8 4:2:0"},
    {"mpeg2-422", "mpeg2video 720x576 25.00 4:2:2 Main p 8 4:2:2"},
    {"mpeg4-advanced-simple", "mpeg4 720x576 25.00 Advanced Simple Profile 5 i 8 4:2:0"},
    {"mpeg4-simple", "mpeg4 720x576 29.97 Simple Profile 3 p 8 4:2:0"},
    {"av1-yuv420p10le", "av1 720x576 0.00 Main 3.0 p 10 4:2:0"},
    {"av1-yuv422p12le", "av1 352x288 0.00 Professional 2.0 p 12 4:2:2"},
    {"av1-gray", "av1 352x288 0.00 Main 2.0 p 8 4:0:0"},
    {"mp2", "mp2 48000 Hz 2 ch 192000 "},
    {"mp3-mpeg2", "mp3 22050 Hz 1 ch 32000 "},
    {"aac-51", "aac 48000 Hz 6 ch 0 LC"},
    {"aac-program-config", "aac 48000 Hz 3 ch 0 LC"},
    {"aac-main", "aac 44100 Hz 1 ch 0 Main"},
    {"latm", "aac_latm 48000 Hz 2 ch 0 LC"},
    {"ac3-51", "ac3 48000 Hz 6 ch 224000 "},
    {"ac3-44100", "ac3 44100 Hz 1 ch 64000 "},
    {"eac3-51", "eac3 48000 Hz 6 ch 160000 "},
    {"eac3-disc", "eac3 48000 Hz 2 ch 96000 "},
    {"dts-undeclared", "dts 48000 Hz 2 ch 320000 DTS"},
    {"truehd-disc", "truehd 48000 Hz 6 ch 0 "},
    {"truehd-undeclared", "truehd 48000 Hz 2 ch 0 "},
    {"opus-51", "opus 48000 Hz 6 ch 0 "},
};

TEST(Codecs, ReadWhatEncodersWriteAsPlayersDo) {
    for (const Expected& expected : kExpected) {
        const Sample sample(load_sample(expected.sample));
        EXPECT_EQ(read(sample.declared, sample.es), expected.facts) << expected.sample;
    }
}

// What a prefix tells may lack members, but is never settled and never another picture or rate.
void expect_part_of(const CodecFacts& part, const CodecFacts& whole, const std::string& where) {
    EXPECT_FALSE(part.settled) << where;
    if (part.video && whole.video->interlaced == 0) {
        EXPECT_EQ(part.video->width, whole.video->width) << where;
        EXPECT_EQ(part.video->height, whole.video->height) << where;
        EXPECT_TRUE(part.video->frame_rate == 0 ||
                    part.video->frame_rate == whole.video->frame_rate)
            << where;
    }
    if (part.audio && part.codec == whole.codec && part.audio->sample_rate != 0) {
        EXPECT_EQ(part.audio->sample_rate, whole.audio->sample_rate) << where;
    }
}

TEST(Codecs, ReadNothingElseFromEveryPrefixAndNoByteBeyond) {
    for (const Expected& expected : kExpected) {
        const Sample sample(load_sample(expected.sample));
        const CodecFacts whole = read_codec(sample.declared, sample.es);
        zvtest::GuardedBuffer room(sample.es.size());
        for (size_t size = 0; size < sample.es.size(); ++size) {
            const std::span<const uint8_t> cut(room.place(sample.es.first(size)), size);
            expect_part_of(read_codec(sample.declared, cut), whole,
                           expected.sample + std::string(" ") + std::to_string(size));
        }
    }
}

TEST(Codecs, BelieveTheBytesAndNotTheDeclaration) {
    const auto as_type = [](const char* name, uint8_t type) {
        const Sample sample(load_sample(name));
        return read({type, {}, false}, sample.es);
    };
    EXPECT_EQ(as_type("hevc-main-10-hrd", 0x1B), "hevc 1920x1080 25.00 Main 10 4.0 p 10 4:2:0");
    EXPECT_EQ(as_type("h264-high", 0x24), "h264 720x576 25.00 High 3.0 p 8 4:2:0");
    EXPECT_EQ(as_type("mpeg2-main", 0x1B), "mpeg2video 720x576 25.00 Main Main p 8 4:2:0");
    EXPECT_EQ(as_type("mpeg4-simple", 0x02), "mpeg4 720x576 29.97 Simple Profile 3 p 8 4:2:0");
    EXPECT_EQ(as_type("dts-undeclared", 0x03), "dts 48000 Hz 2 ch 320000 DTS");
}

// Bits of made headers.
class BitWriter {
  public:
    BitWriter& put(int count, uint64_t value) {
        for (int i = count - 1; i >= 0; --i)
            bit(static_cast<uint8_t>(value >> i & 1));
        return *this;
    }
    BitWriter& ue(std::initializer_list<uint32_t> values) {
        for (const uint32_t value : values) {
            const uint64_t code = uint64_t{value} + 1;
            put(2 * static_cast<int>(std::bit_width(code)) - 1, code);
        }
        return *this;
    }
    // '0' and '1'; blanks are for the reader
    BitWriter& flags(const char* text) {
        for (; *text != '\0'; ++text)
            if (*text != ' ') bit(*text == '1');
        return *this;
    }
    BitWriter& align() {
        while (bits_ % 8 != 0)
            bit(0);
        return *this;
    }
    const Bytes& bytes() const { return bytes_; }

  private:
    void bit(int value) {
        if (bits_ % 8 == 0) bytes_.push_back(0);
        bytes_.back() = static_cast<uint8_t>(bytes_.back() | value << (7 - bits_ % 8));
        ++bits_;
    }
    Bytes bytes_;
    size_t bits_ = 0;
};

Bytes join(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& part : parts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

// With emulation prevention bytes, after a start code.
Bytes escaped(const Bytes& unit) {
    Bytes out = {0, 0, 1};
    size_t zeros = 0;
    for (const uint8_t byte : unit) {
        if (zeros >= 2 && byte <= 3) {
            out.push_back(3);
            zeros = 0;
        }
        zeros = byte == 0 ? zeros + 1 : 0;
        out.push_back(byte);
    }
    return out;
}

// An H.266 set of 1920x1080 at 50 pictures a second with most tools on.
Bytes vvc_set(bool field_seq, bool damaged) {
    BitWriter w;
    w.put(16, 0x0079).put(4, 0).put(4, 0).put(3, 0).put(2, 1).put(2, 2).put(1, 1);
    w.put(7, 1).put(1, 0).put(8, 83).flags("1 0").put(1, 1).put(32, 0).put(32, 0).put(7, 0);
    w.put(8, 0).align().put(8, 0);  // constraints, no sub-profile
    w.flags("1 0").ue({1920, 1088}).put(1, 1).ue({0, 0, 0, 4}).put(1, 0);
    w.ue({2}).flags("0 1").put(4, 4).flags("0").put(2, 0).put(2, 0);
    w.ue({4, 1, 0, 0});  // picture buffer; smallest block
    w.flags("1").ue({1, 2, 1, 1}).flags("1").ue({1, 2, 0, 0, 1, 3, 1, 1});
    w.flags("1 1").ue({3}).flags("1 1 1 1 1");  // transforms
    w.flags("1 1").ue({11, 1, 2, 3, 4, 5});     // one table of two points
    w.flags("1 1 1 1 0 1 1 0 0");               // filters, weights, references
    w.ue({1, 3}).flags("0 1").ue({0}).flags("1 1").ue({0}).flags("0").put(8, 77);  // a list
    w.ue({0});                                                                     // and none
    w.flags("0 11 1 11 1 11 11").ue({0}).flags("1 1").ue({0}).flags("1 1 1 1");
    w.flags("1 1 1").ue({0, 0}).flags("1 1 1 1 10 0").ue({4}).flags("0 0 0 1 0 0");
    w.flags("1").put(32, 1).put(32, 50).flags("1 0 0 0").put(8, 0).ue({0});
    w.flags("1").ue({0, 99, 99}).flags("0");  // timing
    w.put(1, field_seq).flags("0 0").put(1, damaged ? 0 : 1).align();
    return join({escaped(w.bytes()), {0, 0, 1, 0, 0x81}});
}

TEST(Codecs, ReadTheRateOfH266OnlyWhenTheWholeSetFits) {
    const DeclaredStream vvc = {0x33, {}, false};
    EXPECT_EQ(read(vvc, vvc_set(false, false)), "vvc 1920x1080 50.00 Main 10 5.1 p 10 4:2:0");
    EXPECT_EQ(read(vvc, vvc_set(true, false)), "vvc 1920x2160 25.00 Main 10 5.1 i 10 4:2:0");
    EXPECT_EQ(read(vvc, vvc_set(false, true)), "vvc 1920x1080 0.00 Main 10 5.1 - 10 4:2:0");
}

// Subpictures of one size have no members of their own, so counting them would take no bits.
TEST(Codecs, RefuseSubpicturesBeyondCounting) {
    BitWriter w;
    w.put(16, 0x0079).put(8, 0).put(3, 0).put(2, 1).put(2, 2).put(1, 0).flags("0 0");
    w.ue({128, 128}).flags("0 1").ue({0xFFFFFFF0}).flags("1 1").ue({0}).flags("0").ue({2});
    const Bytes es = join({escaped(w.bytes()), {0, 0, 1, 0, 0x81}});
    EXPECT_EQ(read({0x33, {}, false}, es), "vvc?");
}

// Start code, sequence header (type 1) with an emulation prevention byte in its timing.
TEST(Codecs, ReadAv1AfterStartCodes) {
    BitWriter w;
    w.put(8, 0x08).put(3, 0).flags("0 0 1").put(32, 1).put(32, 60).flags("1").ue({0}).flags("0 0");
    w.put(5, 0).put(12, 0).put(5, 8).put(1, 0).put(4, 10).put(4, 10).put(11, 1919).put(11, 1079);
    w.flags("0 000 0000 1 00 1 1 000 000 1 0 0 0 1").align();
    const Bytes registration = {0x05, 4, 'A', 'V', '0', '1'};
    EXPECT_EQ(read({0x06, registration, false}, escaped(w.bytes())),
              "av1 1920x1080 60.00 Main 4.0 p 10 4:2:0");
}

// A frame of E-AC-3: 128 bytes, 48 kHz, six blocks.
Bytes eac3_frame(uint32_t type, uint32_t substream, uint32_t acmod, bool lfe, uint32_t map) {
    BitWriter w;
    w.put(16, 0x0B77).put(2, type).put(3, substream).put(11, 63).put(2, 0).put(2, 3);
    w.put(3, acmod).put(1, lfe).put(5, 16).put(5, 31).put(1, 0);
    if (type == 1) w.put(1, 1).put(16, map);
    Bytes frame = w.bytes();
    frame.resize(128);
    return frame;
}

TEST(Codecs, AddTheChannelsOfDependentSubstreams) {
    const Bytes core = eac3_frame(0, 0, 7, true, 0);
    const Bytes dependent = eac3_frame(1, 0, 6, false, 0x1A00);  // sides again, and back pair
    const Bytes other = eac3_frame(0, 1, 2, false, 0);           // another program, not counted
    const Bytes es = join({core, dependent, other, core});
    EXPECT_EQ(read({0x87, {}, false}, es), "eac3 48000 Hz 8 ch 64000 ");
    EXPECT_EQ(read({0x87, {}, false}, join({core, core})), "eac3 48000 Hz 6 ch 32000 ");
}

Bytes adts_frame(uint32_t rate_index, uint32_t channels) {
    BitWriter w;
    w.put(12, 0xFFF).put(4, 1).put(2, 1).put(4, rate_index).put(1, 0).put(3, channels);
    w.put(4, 0).put(13, 32).put(11, 0x7FF).put(2, 0);
    Bytes frame = w.bytes();
    frame.resize(32);
    return frame;
}

TEST(Codecs, DoubleTheRateOfDeclaredHighEfficiencyAac) {
    const Bytes aac = {0x7C, 1, 0x2D};     // HE-AAC, level 3
    const Bytes aac_v2 = {0x7C, 1, 0x31};  // version 2
    const Bytes slow = join({adts_frame(6, 1), adts_frame(6, 1)});
    const Bytes fast = join({adts_frame(3, 2), adts_frame(3, 2)});
    EXPECT_EQ(read({0x0F, {}, false}, slow), "aac 24000 Hz 1 ch 0 LC");
    EXPECT_EQ(read({0x0F, aac, false}, slow), "aac 48000 Hz 1 ch 0 HE-AAC");
    EXPECT_EQ(read({0x0F, aac_v2, false}, slow), "aac 48000 Hz 2 ch 0 HE-AACv2");
    EXPECT_EQ(read({0x0F, aac, false}, fast), "aac 48000 Hz 2 ch 0 LC");
}

// 32 bytes whose raw data block ends with the elements that `end` writes.
Bytes adts_frame_ending(const BitWriter& end) {
    Bytes frame = adts_frame(6, 2);
    std::fill(frame.begin() + 7, frame.end(), uint8_t{0x5A});
    std::copy(end.bytes().rbegin(), end.bytes().rend(), frame.rbegin());
    return frame;
}

TEST(Codecs, DoubleTheRateWhereEveryFrameCarriesBandReplication) {
    BitWriter with_sbr;  // three bytes of SBR, two of padding, the end
    with_sbr.put(2, 1).put(3, 6).put(4, 3).put(4, 13).put(20, 0x12345);
    with_sbr.put(3, 6).put(4, 2).put(16, 0).put(3, 7).align();
    BitWriter without;
    without.put(2, 1).put(3, 6).put(4, 3).put(24, 0).put(3, 7).align();
    const Bytes yes = adts_frame_ending(with_sbr);
    const Bytes no = adts_frame_ending(without);
    const DeclaredStream aac = {0x0F, {}, false};
    EXPECT_EQ(read(aac, join({yes, yes, yes, yes})), "aac 48000 Hz 2 ch 0 HE-AAC");
    EXPECT_EQ(read(aac, join({yes, yes, yes})), "aac 24000 Hz 2 ch 0 LC?");
    EXPECT_EQ(read(aac, join({yes, yes, no})), "aac 24000 Hz 2 ch 0 LC");
}

TEST(Codecs, ReadAacConfigurationsWithTheirExtensions) {
    const auto config = [](const Bytes& bytes) {
        const auto read = read_whole_aac_config(BitReader(bytes));
        return summary({Codec::kAac, true, {}, read ? aac_details(*read) : AudioDetails{}});
    };
    EXPECT_EQ(config({0x12, 0x10}), "aac 44100 Hz 2 ch 0 LC");
    EXPECT_EQ(config({0x13, 0x10, 0x56, 0xE5, 0x98}), "aac 48000 Hz 2 ch 0 HE-AAC");
    EXPECT_EQ(config({0x2B, 0x11, 0x88, 0x00}), "aac 48000 Hz 2 ch 0 HE-AAC");
    EXPECT_EQ(config({0xEB, 0x09, 0x88, 0x00}), "aac 48000 Hz 2 ch 0 HE-AACv2");
    EXPECT_EQ(config({0x17, 0x80, 0x00, 0x00, 0x08}), "aac 0 Hz 0 ch 0 ");  // a rate of 0
    EXPECT_EQ(config({0x12}), "aac 0 Hz 0 ch 0 ");
}

Bytes padded(const BitWriter& header, size_t size) {
    Bytes frame = header.bytes();
    frame.resize(size);
    return frame;
}

TEST(Codecs, ReadSoundThatPublicEncodersDoNotWrite) {
    BitWriter ac4;  // 20 bytes after the sync word, 48 kHz
    ac4.put(16, 0xAC40).put(16, 20).put(2, 0).put(10, 5).flags("0 1");
    const Bytes frame = padded(ac4, 24);
    const Bytes stereo = {0x7F, 3, 0x15, 0x80, 0x20};
    EXPECT_EQ(read({0x06, stereo, false}, join({frame, frame})), "ac4 48000 Hz 2 ch 0 ");

    BitWriter aes3;  // four channels of 20 bits, two samples
    aes3.put(16, 24).put(2, 1).put(8, 0).put(2, 1).put(4, 0);
    const Bytes packet = padded(aes3, 28);
    const Bytes bssd = {0x05, 4, 'B', 'S', 'S', 'D'};
    EXPECT_EQ(read({0x06, bssd, false}, join({packet, packet})), "s302m 48000 Hz 4 ch 5376000 ");

    BitWriter truehd;  // 5.1 and, in bits of its own, 7.1; 96 kHz
    truehd.put(32, 0x00000000).put(32, 0xF8726FBA).put(4, 1).put(8, 0).put(5, 0x0F).put(2, 0);
    truehd.put(13, 0x4F).put(16, 0xB752);
    EXPECT_EQ(read({0x83, {}, true}, padded(truehd, 32)), "truehd 96000 Hz 8 ch 0 ");

    BitWriter core;  // 5.1 at 48 kHz, 96 bytes, then a lossless extension of 32
    core.put(32, 0x7FFE8001).flags("1 11111 0").put(7, 15).put(14, 95).put(6, 9).put(4, 13);
    core.put(5, 24).flags("0 0000").put(3, 0).flags("0 0").put(2, 2);
    BitWriter extension;
    extension.put(32, 0x64582025).put(10, 0).put(1, 0).put(8, 11).put(16, 31).align();
    extension.put(32, 0x41A29547);
    const Bytes unit = join({padded(core, 96), padded(extension, 32)});
    EXPECT_EQ(read({0x86, {}, true}, join({unit, unit})), "dts 48000 Hz 6 ch 0 DTS-HD MA");
}

TEST(Codecs, AreDeclaredByDescriptorsBeforeTypes) {
    struct Case {
        uint8_t type;
        bool hdmv;
        Bytes descriptors;
        Codec codec;
        Kind kind;
    };
    const Case cases[] = {
        {0x06, false, {0x6A, 1, 0}, Codec::kAc3, Kind::kAudio},
        {0x06, false, {0x52, 1, 9, 0x7A, 1, 0}, Codec::kEac3, Kind::kAudio},
        {0x06, false, {0x7F, 2, 0x15, 0}, Codec::kAc4, Kind::kAudio},
        {0x06, false, {0x7F, 2, 0x21, 0}, Codec::kDts, Kind::kAudio},
        {0x11, false, {0x7C, 1, 0x29}, Codec::kAacLatm, Kind::kAudio},
        {0x06, false, {0x56, 5, 'd', 'e', 'u', 0x09, 0}, Codec::kDvbTeletext, Kind::kSubtitle},
        {0x06,
         false,
         {0x59, 8, 'd', 'e', 'u', 16, 0, 1, 0, 1},
         Codec::kDvbSubtitle,
         Kind::kSubtitle},
        {0x06, false, {0xFD, 3, 0, 8, 0x3D}, Codec::kAribCaption, Kind::kSubtitle},
        {0x06, false, {0x05, 4, 'K', 'L', 'V', 'A'}, Codec::kKlv, Kind::kData},
        {0x15,
         false,
         {0x26, 13, 0xFF, 0xFF, 'I', 'D', '3', ' ', 0xFF, 'I', 'D', '3', ' ', 0, 0},
         Codec::kTimedId3,
         Kind::kData},
        {0x15,
         false,
         {0x26, 9, 0x01, 0x00, 0xFF, 'K', 'L', 'V', 'A', 0, 0xF},
         Codec::kKlv,
         Kind::kData},
        {0x86, false, {}, Codec::kScte35, Kind::kData},
        {0x86, true, {}, Codec::kDts, Kind::kAudio},
        {0x83, true, {0x05, 4, 'A', 'C', '-', '3'}, Codec::kTrueHd, Kind::kAudio},
        {0x1B, false, {0x05, 4, 'H', 'D', 'M', 'V'}, Codec::kH264, Kind::kVideo},
        {0x05, false, {0x05, 200, 'A'}, Codec::kUnknown, Kind::kData},
        {0x90, true, {}, Codec::kUnknown, Kind::kSubtitle},
        {0x21, false, {}, Codec::kUnknown, Kind::kVideo},
    };
    for (const Case& c : cases) {
        const DeclaredStream stream = {c.type, c.descriptors, c.hdmv};
        EXPECT_EQ(declared_codec(stream), c.codec) << int{c.type};
        EXPECT_EQ(kind_of(c.codec, stream), c.kind) << int{c.type};
    }
}

TEST(Codecs, ListEachLanguageOnceAndTheirSubtitlePages) {
    Bytes loop = {0x0A, 8,   'e', 'n', 'g',  0,    'd', 'e', 'u', 1,    0x56,
                  10,   'd', 'e', 'u', 0x11, 0,    's', 'w', 'e', 0x29, 0x88,
                  0x59, 9,   'n', 'o', 'r',  0x20, 1,   2,   3,   4,    'x'};
    std::array<Language, kMaxLanguages> languages;
    ASSERT_EQ(declared_languages(loop, languages), 4u);
    EXPECT_EQ((std::string{languages[2].data(), 3} + std::string{languages[3].data(), 3}),
              "swenor");
    std::array<SubtitlePage, 8> pages;
    ASSERT_EQ(declared_subtitles(loop, pages), 3u);
    EXPECT_EQ(pages[0].page, 100);
    EXPECT_TRUE(!pages[0].hearing_impaired && pages[0].subtitle && pages[0].teletext);
    EXPECT_TRUE(pages[1].page == 188 && pages[1].hearing_impaired);
    EXPECT_TRUE(pages[2].page == 0x102 && pages[2].hearing_impaired && !pages[2].teletext);

    Bytes many;  // 100 languages
    for (int i = 0; i < 100; ++i)
        for (const int byte : std::array<int, 6>{0x0A, 4, 'a', 'a' + i / 26, 'a' + i % 26, 0})
            many.push_back(static_cast<uint8_t>(byte));
    std::array<Language, 100> all;
    EXPECT_EQ(declared_languages(many, all), kMaxLanguages);
}

// The examples of ANSI/SCTE 35, chapter 14.
const Bytes kTimeSignal = {0xFC, 0x30, 0x34, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF,
                           0xF0, 0x05, 0x06, 0xFE, 0x72, 0xBD, 0x00, 0x50, 0x00, 0x1E, 0x02,
                           0x1C, 0x43, 0x55, 0x45, 0x49, 0x48, 0x00, 0x00, 0x8E, 0x7F, 0xCF,
                           0x00, 0x01, 0xA5, 0x99, 0xB0, 0x08, 0x08, 0x00, 0x00, 0x00, 0x00,
                           0x2C, 0xA0, 0xA1, 0x8A, 0x34, 0x02, 0x00, 0x9A, 0xC9, 0xD1, 0x7E};
const Bytes kInsert = {0xFC, 0x30, 0x2F, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0xF0, 0x14,
                       0x05, 0x48, 0x00, 0x00, 0x8F, 0x7F, 0xEF, 0xFE, 0x73, 0x69, 0xC0, 0x2E, 0xFE,
                       0x00, 0x52, 0xCC, 0xF5, 0x00, 0x00, 0x00, 0x00, 0x00, 0x0A, 0x00, 0x08, 0x43,
                       0x55, 0x45, 0x49, 0x00, 0x00, 0x01, 0x35, 0x62, 0xDB, 0xA3, 0x0A};

std::string splice(const Bytes& section, size_t room = 200) {
    const auto command = read_splice_command(section);
    std::vector<char> text(room);
    return command ? std::string(text.data(), describe_splice(*command, text)) : "nothing";
}

TEST(Scte35, IsToldInALine) {
    EXPECT_EQ(splice(kTimeSignal),
              "time_signal 1207959694: Provider Placement Opportunity Start"
              " at 21388.767 s for 307.000 s");
    EXPECT_EQ(splice(kInsert),
              "splice_insert 1207959695: out of network at 21514.559 s"
              " for 60.294 s, auto return");
    EXPECT_EQ(splice(kInsert, 10), "splice_in");
    Bytes late = kInsert;  // pts_adjustment of 2^33 - 90000, so that the sum wraps
    late[4] |= 1, late[5] = 0xFF, late[6] = 0xFE, late[7] = 0xA0, late[8] = 0x70;
    EXPECT_NE(splice(late).find("at 21513.559 s"), std::string::npos) << splice(late);
    Bytes encrypted = kInsert;
    encrypted[4] |= 0x80;
    EXPECT_EQ(splice(encrypted), "nothing");
    Bytes other = kInsert;
    other[13] = 0;  // splice_null
    EXPECT_EQ(splice(other), "nothing");
}

TEST(Scte35, ReadsNoByteBeyondAnyLengthGiven) {
    for (const Bytes& section : {kTimeSignal, kInsert}) {
        zvtest::GuardedBuffer room(section);
        for (size_t at = 1; at < section.size(); ++at) {
            for (const int value : {0, 1, 0x7F, 0xFF}) {
                Bytes changed = section;
                changed[at] = static_cast<uint8_t>(value);
                const auto command = read_splice_command({room.place(changed), changed.size()});
                char text[64];
                EXPECT_TRUE(!command || describe_splice(*command, text) == strlen(text));
            }
        }
        EXPECT_FALSE(read_splice_command(std::span(section).first(section.size() - 1)));
    }
}

TEST(H264, SetsStandAloneForOtherContainers) {
    const Sample sample(load_sample("h264-cropped-2997"));
    Bytes set;  // between its start code and the next one
    for (size_t at = 4; at + 4 <= sample.es.size() && set.empty(); ++at)
        if ((sample.es[at] & 0x1F) == 7 && sample.es[at - 1] == 1)
            set.assign(sample.es.begin() + static_cast<std::ptrdiff_t>(at), sample.es.end() - 4);
    const auto details = read_h264_sps(set);
    ASSERT_TRUE(details);
    EXPECT_EQ(details->width, 1920u);
    EXPECT_EQ(details->height, 1080u);
    EXPECT_FALSE(read_h264_sps(std::span(set).first(4)));
    EXPECT_FALSE(read_h264_sps({}));
    EXPECT_STREQ(h264_profile_name(110, 0x10), "High 10 Intra");
}

TEST(BitReader, EndsCodesThatAreTooLong) {
    const Bytes most = {0, 0, 0, 1, 0xFF, 0xFF, 0xFF, 0xFE};
    BitReader reader(most);
    EXPECT_EQ(reader.ue(), 0xFFFFFFFEu);
    EXPECT_FALSE(reader.overrun());
    const Bytes zeros(64);
    BitReader endless(zeros);
    EXPECT_EQ(endless.ue(), 0u);
    EXPECT_TRUE(endless.overrun());
    BitReader far(most);
    far.skip(SIZE_MAX);
    far.skip(SIZE_MAX);
    EXPECT_TRUE(far.overrun());
    EXPECT_EQ(far.left() + far.bits(32), 0u);
}

}  // namespace
}  // namespace zv::survey
