// SPDX-License-Identifier: MIT
// The FLV container reader and the audio and video decoders.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "flv/flv_internal.h"
#include "support/flv_builder.h"
#include "support/guarded_buffer.h"
#include "support/log_recorder.h"

namespace {

using namespace zvtest;
using Texts = std::vector<std::string>;

// A reader that is given tags; the record is too large for comfort on the stack.
struct Reader {
    std::unique_ptr<FLVContext> context = std::make_unique<FLVContext>();
    const FLVMetadata& metadata = context->metadata;
    LogRecorder log{4, "FLV"};

    uint8_t read(const Bytes& tag, uint8_t print = 0, uint8_t check = 1) {
        GuardedBuffer block(tag);
        flv_innerapi_getbodytag(context.get(), block.data(), print);
        return flv_innerapi_getbodypayload(context.get(), block.data() + 11, print, check);
    }
    // What printing a tag ends with.
    Texts print(const Bytes& tag, ptrdiff_t lines) {
        read(tag, 1);
        const Texts all = log.bodies(4);
        return Texts(all.end() - lines, all.end());
    }
};

TEST(FlvReader, ReadsTheFileHeaderWithoutJudgingTheSignature) {
    Reader r;
    const Bytes header{'F', 'W', 'S', 2, 0x05, 0, 0, 0, 9, 0, 0, 1, 2};
    flv_innerapi_getflvheader(r.context.get(), header.data());
    flv_innerapi_getpretagsize(r.context.get(), header.data() + 9);
    EXPECT_EQ(r.context->headerlen, 9u);
    EXPECT_EQ(r.context->tagsize0, 258u);
    const std::string rule(48, '=');
    EXPECT_EQ(r.log.bodies(4),
              (Texts{rule, "=\tFLV HEADER INFO\t", "sysnc:FWS", "version:2", "flags has video:1",
                     "flags has audio:1", "headerlen:9", rule, "TagSize0:258"}));
    flv_innerapi_getflvheader(r.context.get(), Bytes{'F', 'L', 'V', 1, 4, 0, 0, 0, 9}.data());
    EXPECT_EQ(r.context->flags_hasaudio, 1);
    EXPECT_EQ(r.context->flags_hasvideo, 0);
}

TEST(FlvReader, KeepsOnlyTheExtensionByteOfATimestamp) {
    Reader r;
    const uint8_t positive[11] = {0x09, 0, 0, 0x2A, 0, 0, 0x10, 0x7F};
    EXPECT_EQ(flv_innerapi_getbodytag(r.context.get(), positive, 0), 42);
    EXPECT_EQ(r.context->timestamp, 0x7F);
    EXPECT_TRUE(r.log.lines.empty());
    const uint8_t negative[11] = {0x28, 1, 2, 0xFF, 0, 0, 0, 0x80};
    EXPECT_EQ(flv_innerapi_getbodytag(r.context.get(), negative, 1), -1);
    EXPECT_EQ(r.context->timestamp, -128);
    EXPECT_EQ(r.log.bodies(4), (Texts{"=TAG  INFO\t", "flags_tagtype,flags_hasfilter:8,1",
                                      "data_len:66303", "timestramp:4294967168", "streamid:0"}));
}

TEST(FlvReader, RefusesABodyWhoseSizeWordIsWrong) {
    Reader r;
    EXPECT_EQ(r.read(audio_tag({0x2F}).misstate_size_word_by(1)), 255);
    EXPECT_EQ(r.context->payload.audio.sound_format, 0);
    EXPECT_EQ(r.context->tagsizex, 13u);
    EXPECT_EQ(r.log.bodies(1), Texts{"Data error(12 !=13)!"});
    EXPECT_EQ(r.read(audio_tag({0x2F}).misstate_size_word_by(-1), 0, 0), 0);
    EXPECT_EQ(r.context->payload.audio.sound_format, 2);
    EXPECT_EQ(r.context->tagsizex, 13u) << "an unchecked size word is not read";
}

TEST(FlvReader, DecodesAudioBehindTheFilterBitAndNothingForOtherTypes) {
    Reader r;
    EXPECT_EQ(r.print(FlvTag(0x1F, {0xFF}), 1), Texts{"TagSizex:12"});
    EXPECT_EQ(r.context->payload.audio.sound_format, 0);
    EXPECT_EQ(r.read(audio_tag({0x2F}).filtered()), 0);
    EXPECT_EQ(r.context->flags_hasfilter, 1);
    EXPECT_EQ(r.context->payload.audio.sound_format, 2);
}

TEST(FlvPayload, KeepsTheAacConfigurationAndPrintsLabels) {
    Reader r;
    EXPECT_EQ(r.print(audio_tag({0xAF, 0x00, 0x12, 0x10}), 8),
              (Texts{"TagSizex:15", "=AUDIO", "sound_type:1=Stereo sound",
                     "sound_size:1=16-bit samples", "sound_rate:3=44.1 kHz", "sound_format:10=AAC",
                     "The sound_format is aac,and the aac_packect_type:0=AAC sequence header",
                     "I will parse the aac sequence header..."}));
    r.read(audio_tag({0xAF, 0x01, 0x55, 0x55, 0x55}));  // raw data is no configuration
    EXPECT_EQ(r.context->aac_config_len, 2u);
    EXPECT_EQ(r.context->aac_config[0], 0x12);
    EXPECT_EQ(r.context->aac_config[1], 0x10);
}

TEST(FlvPayload, KeepsTheAvcConfigurationAndPrintsLabels) {
    Reader r;
    EXPECT_EQ(r.print(video_tag({0x17, 0, 0, 0, 0, 1, 0x64, 0}), 6),
              (Texts{"=VIDEO", "codec_id:7=AVC(h.264)",
                     "frametype:1=key frame (for AVC, a seekable frame)",
                     "The video_format is h.264,and the avpacket_type:0=AVC sequence header",
                     "The  video_format id h.264,and the composition_time:0",
                     "I will parse the h.264 sequence header..."}));
    r.read(video_tag({0x27, 1, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(r.context->payload.video.composition_time, 16777215u);
    EXPECT_EQ(r.context->avc_config_len, 3u);
    EXPECT_EQ(r.context->avc_config[1], 0x64);
}

TEST(FlvPayload, PrintsTheOldSlotsOf14And15AndNothingBeyondATable) {
    Reader r;
    EXPECT_EQ(r.print(audio_tag({0xC0}), 1), Texts{"sound_format:14=MP3 8 kHz"});
    EXPECT_EQ(r.print(audio_tag({0xE0}), 1), Texts{"sound_format:"});
    EXPECT_EQ(r.print(audio_tag({0xA0, 2}), 1),
              Texts{"The sound_format is aac,and the aac_packect_type:"});
    EXPECT_EQ(r.print(video_tag({0xF8}), 2), (Texts{"codec_id:", "frametype:"}));
    EXPECT_EQ(r.print(video_tag({0x17, 3, 0, 0, 0}), 2)[0],
              "The video_format is h.264,and the avpacket_type:");
}

TEST(FlvPayload, CutsAConfigurationToWhatTheRecordHolds) {
    Reader r;
    Bytes body(3000, 0x5A);
    body[0] = 0x17, body[1] = 0;
    r.read(video_tag(body));
    EXPECT_EQ(r.context->avc_config_len, 1024u);
    EXPECT_EQ(r.context->avc_config[1023], 0x5A);
    EXPECT_EQ(r.context->aac_config_len, 0u);
}

TEST(FlvPayload, PointsBehindTheCodecHeaderOfABodyOfAnySizeWithoutLeavingIt) {
    for (uint32_t size = 0; size <= 4; ++size) {
        Reader r;
        Bytes avc(size, 0), aac(size, 0);
        if (size > 0) avc[0] = 0x17, aac[0] = 0xAF;
        r.context->data_len = size;
        GuardedBuffer audio(aac), video(avc);
        EXPECT_EQ(flv_innerapi_getpayload_aduio(r.context.get(), audio.data(), 0),
                  audio.data() + (size > 0 ? 2 : 1));
        EXPECT_EQ(r.context->aac_config_len, size > 2 ? size - 2 : 0);
        EXPECT_EQ(flv_innerapi_getpayload_video(r.context.get(), video.data(), 0),
                  video.data() + (size > 0 ? 5 : 1));
        EXPECT_EQ(r.context->avc_config_len, 0u);
    }
}

TEST(FlvReader, PrintsAndSummarisesScriptData) {
    Reader r;
    Amf body = Amf().string("onMetaData").ecma_array(5).number("duration", 12.5);
    body.boolean("stereo", 1).string("CreationDate", "2024").boolean("canseektoend", 1);
    EXPECT_EQ(
        r.print(script_tag(body.long_string("note", "A").end()), 8),
        (Texts{"=SCRIPTDATA", "--------------------------", "-duration=12.500000", "-stereo=1",
               "-CreationDate=2024", "-canseektoend=1", "-note=65", "--------------------------"}));
    EXPECT_EQ(r.metadata.duration, 12.5);
    EXPECT_EQ(r.metadata.stereo, 1);
    EXPECT_EQ(r.metadata.canSeekToEnd, 1);
    EXPECT_STREQ(r.metadata.creationdate, "2024");
}

TEST(FlvReader, MatchesSummaryKeysByContainmentAndInOrder) {
    Reader r;
    Amf body = Amf().ecma_array(4).number("videodatarate", 1).number("x-videodatarate-max", 2);
    r.read(script_tag(body.number("heightwidth", 3).string("duration", "\x40\x08").end()));
    EXPECT_EQ(r.metadata.videodatarate, 2);
    EXPECT_EQ(r.metadata.width, 3);
    EXPECT_EQ(r.metadata.height, 0);
    EXPECT_GT(r.metadata.duration, 0) << "the type of a value is not asked";
}

TEST(FlvReader, PrintsAndCopiesATextThatFillsItsSlot) {
    Reader r;
    const std::string text(400, 'd');
    const Amf next = Amf().string("next", "slot").end();
    r.read(script_tag(Amf().ecma_array(2).long_string("creationdate", text).raw(next)));
    EXPECT_EQ(r.metadata.creationdate, text.substr(0, 256));
    // A shorter text leaves the rest of the slot, which thus still has no terminator.
    const Amf shorter = Amf().ecma_array(2).string("creationdate", "D").raw(next);
    EXPECT_EQ(r.print(script_tag(shorter), 3)[0], "-creationdate=D" + text.substr(1, 255));
}

}  // namespace
