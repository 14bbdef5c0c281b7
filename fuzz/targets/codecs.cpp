// SPDX-License-Identifier: MIT
// What an elementary stream is: declaration and first bytes of exact size, declared in two ways,
// and the same bytes as a splice information section and as sets that other containers carry.
#include "survey/codecs/codec.h"

#include "parts/input.h"
#include "survey/codecs/audio/aac_config.h"
#include "survey/codecs/scte35.h"
#include "survey/codecs/subtitles.h"
#include "survey/codecs/video/video.h"

namespace {

using namespace zv::survey;

template <size_t Size>
void require_terminated(const char (&text)[Size]) {
    fuzz::require(memchr(text, 0, Size) != nullptr, "texts are terminated");
}

void require_sound(const VideoDetails& video) {
    require_terminated(video.profile);
    require_terminated(video.level);
    fuzz::require((video.width == 0) == (video.height == 0), "a size has both sides");
    fuzz::require(video.width <= 65536 && video.height <= 65536, "sizes are those of pictures");
    fuzz::require(video.frame_rate >= 0 && video.frame_rate <= 500, "rates are plausible");
    fuzz::require(video.bit_depth <= 16 && video.interlaced <= 1, "members are in their ranges");
}

void require_sound(const AudioDetails& audio) {
    require_terminated(audio.profile);
    fuzz::require(audio.channels == 0 || audio.sample_rate != 0, "channels have a rate");
}

void read_stream(const DeclaredStream& stream, std::span<const uint8_t> es) {
    const CodecFacts facts = read_codec(stream, es);
    if (facts.video) require_sound(*facts.video);
    if (facts.audio) require_sound(*facts.audio);
    const Kind kind = kind_of(facts.codec, stream);
    fuzz::require(!facts.video || kind == Kind::kVideo, "pictures are of video");
    fuzz::require(!facts.audio || kind == Kind::kAudio, "sound is of audio");
}

void read_descriptors(std::span<const uint8_t> descriptors) {
    std::array<Language, kMaxLanguages> languages;
    const size_t count = declared_languages(descriptors, languages);
    fuzz::require(count <= kMaxLanguages, "languages fit");
    for (size_t i = 1; i < count; ++i)
        fuzz::require(languages[i] != languages[i - 1], "each language stands once");
    std::array<SubtitlePage, kMaxSubtitlePages> pages;
    fuzz::require(declared_subtitles(descriptors, pages) <= kMaxSubtitlePages, "pages fit");
}

void read_alone(std::span<const uint8_t> bytes) {
    if (const auto details = read_h264_sps(bytes)) require_sound(*details);
    if (const auto config = read_whole_aac_config(BitReader(bytes)))
        require_sound(aac_details(*config));
    const auto command = read_splice_command(bytes);
    char text[80];
    if (command) fuzz::require(describe_splice(*command, text) == strlen(text), "a whole text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr uint8_t kTypes[] = {0x02, 0x03, 0x06, 0x0F, 0x10, 0x11, 0x1B, 0x24, 0x33, 0x81, 0x8A};
    constexpr size_t kMost = size_t{64} * 1024;
    fuzz::ByteSource in(data, size);
    const uint8_t stream_type = in.u8();
    const uint8_t choice = in.u8();
    const bool hdmv = (choice & 1) != 0;
    const uint8_t length = in.u8();
    fuzz::ExactBytes descriptors(in.take(length));
    fuzz::ExactBytes es(in.take(kMost));
    read_descriptors(descriptors.span());
    read_alone(es.span());
    read_stream({stream_type, descriptors.span(), hdmv}, es.span());
    read_stream({kTypes[choice / 2 % std::size(kTypes)], {}, hdmv}, es.span());
    return 0;
}
