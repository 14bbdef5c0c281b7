// SPDX-License-Identifier: MIT
// The FLV probe, its description, the onMetaData writer and the bit writer.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <string>

#include "flv/flv_internal.h"
#include "support/flv_builder.h"
#include "support/guarded_buffer.h"
#include "support/log_recorder.h"

namespace {

using namespace zvtest;
using Texts = std::vector<std::string>;

// Passes bytes to the probe so that they end at an unreadable page.
int feed(FLVProbe& probe, const Bytes& bytes) {
    static GuardedBuffer room(1 << 16);
    return flv_api_check(&probe, room.place(bytes), static_cast<uint32_t>(bytes.size()));
}

Bytes slice(const Bytes& bytes, size_t from, size_t count = SIZE_MAX) {
    const auto first = bytes.begin() + static_cast<ptrdiff_t>(from);
    return Bytes(first, first + static_cast<ptrdiff_t>(std::min(count, bytes.size() - from)));
}

std::string info(const FLVProbe& probe) {
    char out[ZV_FLV_INFO_MAX] = "";
    flv_api_getInfo(&probe, out);
    return out;
}

const Bytes kAac = audio_tag({0xAF, 1, 0x21});
const Bytes kKeyFrame = video_tag({0x17, 1, 0, 0, 0});
const Bytes kScript = script_tag(Amf().string("onMetaData"));
const Bytes kBadType = FlvTag(0x07, {1});

TEST(FlvProbe, DecidesOnAudioVideoAndAKeyFrame) {
    FLVProbe probe{};
    LogRecorder log(4, "FLV");
    EXPECT_EQ(feed(probe, kAac), 1);
    EXPECT_EQ(probe.metadata.audiosamplesize, 16);
    EXPECT_EQ(probe.metadata.stereo, 1);
    EXPECT_EQ(info(probe), "audio:AAC,44100");
    EXPECT_EQ(feed(probe, kKeyFrame), 1);
    EXPECT_EQ(log.bodies(4), Texts{"find keyframe,num_datacheck:1"});
    EXPECT_EQ(feed(probe, kBadType), 1) << "a decided probe looks at nothing";
    EXPECT_EQ(probe.num_dataerror, 0u);
}

TEST(FlvProbe, KeepsNothingOfScriptDataButLogsTypesItDoesNotKnow) {
    FLVProbe probe{};
    LogRecorder log;
    EXPECT_EQ(feed(probe, script_tag({0x41})), 1);
    EXPECT_EQ(log.text(), "type---------65(A)[0-12]");
    EXPECT_EQ(probe.hasaudio + probe.hasvideo, 0);
}

TEST(FlvProbe, GivesUpWaitingForVideoAfterThreeHundredTags) {
    FLVProbe audio{}, script{};
    for (int i = 0; i <= 300; ++i) {
        EXPECT_EQ(feed(audio, kAac), 1);
        EXPECT_EQ(feed(script, kScript), 1) << i;
    }
    EXPECT_EQ(feed(audio, kAac), 1);
    EXPECT_EQ(audio.num_datacheck, 301u);
    EXPECT_EQ(feed(script, kScript), 0);
}

TEST(FlvProbe, RefusesForGoodAfterFourUnknownTagsInARow) {
    FLVProbe probe{};
    LogRecorder log;
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(feed(probe, kBadType), 0);
    EXPECT_EQ(feed(probe, kAac), 1) << "a good tag makes up for three bad ones";
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(feed(probe, kBadType), 0);
    EXPECT_EQ(feed(probe, kAac), 0);
    EXPECT_EQ(log.bodies(4).size(), 7u) << "nothing is read any more";
    EXPECT_EQ(log.bodies(4)[3], "no audio,video,scriptdata-flags_hasvideo,flags_hasaudio:0,1");
}

TEST(FlvProbe, TakesATagInPieces) {
    FLVProbe probe{};
    Bytes body(100, 0);
    body[0] = 0xAF;
    const Bytes tag = audio_tag(body).extension_byte(0x80);
    EXPECT_EQ(feed(probe, slice(tag, 0, 60)), 1);
    EXPECT_EQ(probe.taggot, 60u);
    EXPECT_EQ(probe.metadata.audiocodecid, 10) << "the first piece is decoded";
    EXPECT_EQ(probe.timestamp, 0xFFFFFF80u);
    EXPECT_EQ(feed(probe, slice(tag, 60, 10)), 1);
    EXPECT_EQ(probe.timestamp, 0u) << "a middle piece has no timestamp";
    EXPECT_EQ(feed(probe, slice(tag, 70)), 1);
    EXPECT_EQ(probe.taggot + probe.taglen, 0u);
    EXPECT_EQ(probe.num_datacheck, 2u) << "the last piece is not looked at";
}

TEST(FlvProbe, CountsALaterPieceWithoutLookingAtItsBytes) {
    FLVProbe probe{};
    const Bytes tag = audio_tag(Bytes(100, 0)).extension_byte(0x80);
    EXPECT_EQ(feed(probe, slice(tag, 0, 60)), 1);
    EXPECT_EQ(feed(probe, {}), 1);
    EXPECT_EQ(probe.taggot, 60u);
    EXPECT_EQ(probe.timestamp, 0u);
    EXPECT_EQ(probe.num_datacheck, 2u);
    EXPECT_EQ(flv_api_check(&probe, nullptr, 54), 1);
    EXPECT_EQ(probe.taggot, 114u);
    EXPECT_EQ(probe.num_datacheck, 3u);
    EXPECT_EQ(flv_api_check(&probe, nullptr, 1), 1);
    EXPECT_EQ(probe.taggot + probe.taglen, 0u) << "the tag is complete";
    EXPECT_EQ(flv_api_check(&probe, nullptr, 1), 1);
    EXPECT_EQ(probe.taggot, 0u) << "and no tag begins without bytes";
    EXPECT_EQ(probe.num_datacheck, 3u);
}

TEST(FlvProbe, DropsAPieceThatRunsOverTheEndOfItsTag) {
    FLVProbe probe{};
    EXPECT_EQ(feed(probe, slice(kAac, 0, 12)), 1);
    EXPECT_EQ(feed(probe, kAac), 1);
    EXPECT_EQ(probe.taggot + probe.taglen, 0u);
    probe.taglen = 100;
    probe.taggot = 0xFFFFFFF0;
    EXPECT_EQ(feed(probe, kAac), 1);
    EXPECT_EQ(probe.taggot, 0u) << "sums beyond 32 bits do not wrap";
}

TEST(FlvProbe, CountsATagWithAWrongSizeWordByItsTypeOnly) {
    FLVProbe probe{};
    LogRecorder log(1);
    EXPECT_EQ(feed(probe, audio_tag({0xAF, 1}).misstate_size_word_by(1)), 1);
    EXPECT_EQ(info(probe), "audio:PCM, platform endian,5500");
    EXPECT_EQ(probe.metadata.audiosamplesize, 8);
    EXPECT_EQ(log.bodies(), Texts{"Data error(13 !=14)!"});
    EXPECT_EQ(feed(probe, video_tag({0x17, 1, 0, 0, 0}).misstate_size_word_by(1)), 1);
    EXPECT_EQ(info(probe).substr(0, 11), "video:res0,");
    EXPECT_EQ(probe.keyframe, 0);
    // Six bytes more are claimed than there are: the size word is looked for among them.
    EXPECT_EQ(feed(probe, audio_tag({0xAF, 1}).overstate_length_by(6)), 1);
    EXPECT_EQ(probe.taggot, 17u) << "so the tag is waited for";
    EXPECT_EQ(probe.metadata.audiocodecid, 10);
}

TEST(FlvProbe, IgnoresAnEmptyCallAndReadsAShortHeaderAsZeros) {
    FLVProbe probe{};
    EXPECT_EQ(flv_api_check(nullptr, kAac.data(), 1), 0);
    EXPECT_EQ(flv_api_check(&probe, nullptr, 5), 1);
    EXPECT_EQ(flv_api_check(&probe, kAac.data(), 0), 1);
    EXPECT_EQ(probe.taggot + probe.num_datacheck, 0u);
    EXPECT_EQ(feed(probe, {9, 1}), 1);
    EXPECT_EQ(probe.taglen, 0x10000u);
    EXPECT_EQ(probe.hasvideo, 1);
}

TEST(FlvInfo, NamesCodecsAndClampsWhatAHostMaySet) {
    FLVProbe probe{};
    probe.hasvideo = probe.hasaudio = 1;
    probe.metadata.videocodecid = 7;
    probe.metadata.audiocodecid = 13;
    probe.metadata.width = std::nan("");
    probe.metadata.height = 1e300;
    probe.metadata.audiosamplerate = -std::numeric_limits<double>::infinity();
    EXPECT_EQ(info(probe),
              "video:AVC(H.264),0.00,0X2147483647,audio:Device-specific sound,"
              "-2147483648");
    for (const double code : {8.0, -1.0, 1e300, std::nan("")}) {
        probe.metadata.videocodecid = code;
        EXPECT_EQ(info(probe).substr(0, 7), "video:,");
    }
}

// The onMetaData block of a probe, its sizes checked.
Bytes header_script(const FLVProbe& probe) {
    Bytes out(ZV_FLV_HEADER_SCRIPT_MAX, 0xEE);
    out.resize(flv_api_setFlvHeaderScript(&probe, out.data()));
    const int body_size = static_cast<int>(out.size()) - 13 - 11 - 4;
    EXPECT_EQ(out[14] << 16 | out[15] << 8 | out[16], body_size);
    EXPECT_EQ(out[out.size() - 2] << 8 | out[out.size() - 1], body_size + 11);
    return out;
}

TEST(FlvMetaWriter, WritesTheSmallestBlockByteForByte) {
    FLVProbe probe{};
    probe.timestamp = 0x01020305;
    const Bytes out = header_script(probe);
    ASSERT_EQ(out.size(), 185u);
    EXPECT_EQ(slice(out, 0, 27), (Bytes{'F', 'L', 'V', 1, 0, 0, 0, 0, 9, 0, 0, 0, 0, 18,
                                        0,   0,   157, 1, 2, 3, 5, 0, 0, 0, 2, 0, 10}));
    EXPECT_EQ(slice(out, 37, 5), (Bytes{3, 0, 14, 's', 'e'}));
    EXPECT_EQ(slice(out, 144, 4), (Bytes{2, 0, 8, '0'}));
    EXPECT_EQ(slice(out, 178), (Bytes{0, 0, 9, 0, 0, 0, 168}));
    probe.metadata.filesize = 1;
    EXPECT_EQ(slice(header_script(probe), 155, 10),
              (Bytes{0, 8, 'f', 'i', 'l', 'e', 's', 'i', 'z', 'e'}));
}

TEST(FlvMetaWriter, WritesWhatTheReaderReadsBack) {
    FLVProbe probe{};
    probe.hasvideo = 1;
    EXPECT_EQ(header_script(probe).size(), 285u);
    probe.hasaudio = 1;
    probe.hasvideo = 0;
    EXPECT_EQ(header_script(probe).size(), 315u);
    probe.hasvideo = probe.hasfilter = 1;
    probe.timestamp = 0x80;
    FLVMetadata& m = probe.metadata;
    m.stereo = 1, m.duration = 2, m.filesize = 3, m.audiocodecid = 4, m.audiodatarate = 5;
    m.audiodelay = 6, m.audiosamplerate = 7, m.audiosamplesize = 8, m.videocodecid = 9;
    m.videodatarate = 10, m.framerate = 11, m.width = 12, m.height = 13;
    const Bytes out = header_script(probe);
    ASSERT_EQ(out.size(), 453u);
    EXPECT_EQ(out[4], 5);

    const auto context = std::make_unique<FLVContext>();
    flv_innerapi_getbodytag(context.get(), out.data() + 13, 0);
    EXPECT_EQ(context->flags_hasfilter, 1);
    EXPECT_EQ(context->timestamp, -128);
    EXPECT_EQ(flv_innerapi_getbodypayload(context.get(), out.data() + 24, 0, 1), 0);
    EXPECT_EQ(context->payload.script.count, 17u);
    EXPECT_EQ(memcmp(&context->metadata.duration, &m.duration, 7 * sizeof(double)), 0);
    EXPECT_EQ(context->metadata.stereo, 1);
    EXPECT_EQ(memcmp(&context->metadata.videocodecid, &m.videocodecid, 5 * sizeof(double)), 0);
}

TEST(FlvPutBits, StoresWholeWordsMostSignificantBitFirst) {
    LogRecorder log;
    Bytes out(8, 0);
    PutBitContext w{0, 32, out.data(), out.data(), out.data() + 8};
    put_bits(&w, 16, 0x1234);
    EXPECT_EQ(w.bit_left, 16);
    EXPECT_EQ(w.buf_ptr, out.data());
    put_bits(&w, 16, 0x5678);
    EXPECT_EQ(w.buf_ptr, out.data() + 4);
    put_bits(&w, 3, 5);
    put_bits32(&w, 0xDEADBEEF);
    EXPECT_EQ(out, (Bytes{0x12, 0x34, 0x56, 0x78, 0xBB, 0xD5, 0xB7, 0xDD}));
    for (const int n : {0, -1, 32})
        put_bits(&w, n, 1);
    EXPECT_EQ(w.bit_left, 29);
    EXPECT_TRUE(log.lines.empty());
    put_bits(&w, 31, 0);  // no room left: the word is dropped, the writer goes on
    EXPECT_EQ(w.bit_left, 30);
    EXPECT_EQ(w.buf_ptr, out.data() + 8);
    EXPECT_EQ(log.bodies(16), Texts{"Internal error, put_bits buffer too small\n"});
}

}  // namespace
