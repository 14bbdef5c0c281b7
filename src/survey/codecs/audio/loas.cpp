// SPDX-License-Identifier: MIT
// AAC in LOAS and LATM (ISO/IEC 14496-3, 1.7): the configuration stands in some of the frames.
// Members are read under their names in the standard.
#include "survey/codecs/audio/aac_config.h"
#include "survey/codecs/audio/audio.h"
#include "survey/codecs/audio/audio_frames.h"

namespace zv::survey {
namespace {

constexpr size_t kHeader = 3;  // bytes
constexpr uint32_t kSyncWord = 0x2B7;

std::optional<AudioFrame> parse_frame(std::span<const uint8_t> bytes) {
    if (bytes.size() < kHeader || bytes[0] != kSyncWord >> 3) return std::nullopt;
    BitReader reader(bytes.first(kHeader));
    const bool sync = reader.bits(11) == kSyncWord;
    const size_t length = reader.bits(13);
    if (!sync || length == 0) return std::nullopt;
    return AudioFrame{kHeader + length, 0};
}

uint32_t read_latm_value(BitReader& reader) {
    const int bytes = static_cast<int>(reader.bits(2)) + 1;
    return reader.bits(8 * bytes);
}

// The configuration of the first layer of the first program.
std::optional<AacConfig> read_stream_mux_config(BitReader& reader) {
    const bool version1 = reader.flag();
    if (version1 && reader.flag()) return std::nullopt;  // audioMuxVersionA: reserved
    if (version1) read_latm_value(reader);               // taraBufferFullness
    reader.skip(1 + 6 + 4 + 3);  // allStreamsSameTimeFraming, numSubFrames, numProgram, numLayer
    if (!version1) return read_aac_config(reader);
    const uint32_t asc_len = read_latm_value(reader);
    return read_whole_aac_config(reader.take(asc_len));
}

std::optional<AacConfig> read_frame_config(std::span<const uint8_t> frame) {
    BitReader reader(frame);
    const bool same_as_before = reader.flag();  // useSameStreamMux
    return same_as_before ? std::nullopt : read_stream_mux_config(reader);
}

}  // namespace

std::optional<AudioFacts> read_loas(std::span<const uint8_t> es) {
    const auto run = find_audio_frames(es, parse_frame);
    if (!run) return std::nullopt;
    AudioFacts facts;
    facts.codec = Codec::kAacLatm;
    facts.frames = run->frames;
    facts.sure = run->sure();
    auto rest = es.subspan(run->offset);
    while (const auto frame = parse_frame(rest)) {
        const size_t end = frame->size < rest.size() ? frame->size : rest.size();
        const auto config = read_frame_config(rest.first(end).subspan(kHeader));
        if (config) {
            facts.details = aac_details(*config);
            facts.settled = facts.sure;
            break;
        }
        rest = rest.subspan(end);
    }
    return facts;
}

}  // namespace zv::survey
