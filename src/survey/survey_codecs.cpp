// SPDX-License-Identifier: MIT
// Part of survey.h: reads the codec of a stream from its first bytes, and again where its parameters
// change.
#include "survey/survey.h"

#include <utility>

#include "survey/codecs/video/parameters.h"

namespace zv::survey {
namespace {

// Variants of one codec are no contradiction.
bool contradicts(Codec declared, Codec read) {
    const auto is_mpeg_audio = [](Codec codec) {
        return codec >= Codec::kMp1 && codec <= Codec::kMp3;
    };
    const auto is_mpeg_video = [](Codec codec) {
        return codec == Codec::kMpeg1Video || codec == Codec::kMpeg2Video;
    };
    if (is_mpeg_audio(declared) && is_mpeg_audio(read)) return false;
    if (is_mpeg_video(declared) && is_mpeg_video(read)) return false;
    return declared != read;
}

}  // namespace

// Where a decoder can begin, other parameters than before make another stream.
void Survey::see_parameters(const Packet& packet, PidDetail& detail) {
    const auto parameters = first_parameters(detail.declared, packet.payload());
    if (parameters.empty()) return;
    const uint32_t before = std::exchange(detail.parameters_crc, crc32(parameters));
    if (before != 0 && before != detail.parameters_crc && !detail.es)
        pids_.read_codec_of(packet.pid());
}

// Gathers the beginning of a stream until its codec is read. Of video a unit with parameter sets is
// waited for; what comes before costs nothing.
void Survey::see_es(const Packet& packet, PidDetail& detail, uint64_t offset) {
    if (packet.starts_unit()) {
        const bool read =
            detail.es->worth_reading() && read_codec_now(packet.pid(), detail, offset);
        if (read) return;
        const bool worth =
            packet.random_access() || may_begin_with_parameters(detail.declared, packet.payload());
        if (!worth) return detail.es->pause();
    }
    detail.es->take(packet.payload(), packet.starts_unit());
    if (detail.es->full()) read_codec_now(packet.pid(), detail, offset);
    if (detail.es && !detail.es->paused()) pids_[packet.pid()].look_again();
}

// -> true when nothing more is gathered
bool Survey::read_codec_now(uint16_t pid, PidDetail& detail, uint64_t offset) {
    const auto declared = model_.declared_stream(pid);
    if (declared) {
        const CodecFacts facts = read_codec(*declared, detail.es->bytes());
        detail.es->note_read();
        if (!facts.settled && !detail.es->full()) return false;
        tell_codec(pid, detail, facts, offset);
        detail.facts = facts;
        model_.note_codec_read();
    }
    detail.es.reset();
    return true;
}

// What was gathered is all there is.
void Survey::finish_codec(uint16_t pid, PidDetail& detail) {
    const auto declared = model_.declared_stream(pid);
    if (!declared) return;
    const CodecFacts facts = read_codec(*declared, detail.es->bytes());
    if (facts.codec == Codec::kUnknown) return;
    tell_codec(pid, detail, facts, last_packet_);
    detail.facts = facts;
    model_.note_codec_read();
}

void Survey::tell_codec(uint16_t pid, const PidDetail& detail, const CodecFacts& now,
                        uint64_t offset) {
    if (now.codec != Codec::kUnknown && detail.declared != Codec::kUnknown &&
        contradicts(detail.declared, now.codec)) {
        timing_.tell({.kind = EventKind::kStreamContradictsPmt,
                      .pid = pid,
                      .offset = offset,
                      .a = static_cast<uint32_t>(detail.declared),
                      .b = static_cast<uint32_t>(now.codec)});
    }
    if (!detail.facts || !detail.facts->video || !now.video) return;
    const VideoDetails& before = *detail.facts->video;
    if (before.width == now.video->width && before.height == now.video->height) return;
    timing_.tell({.kind = EventKind::kStreamChanged,
                  .pid = pid,
                  .offset = offset,
                  .a = before.width,
                  .b = before.height,
                  .c = now.video->width,
                  .d = now.video->height});
}

}  // namespace zv::survey
