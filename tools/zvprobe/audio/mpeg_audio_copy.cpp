// SPDX-License-Identifier: MIT
// Implementation of mpeg_audio_copy.h.
#include "audio/mpeg_audio_copy.h"

#include <utility>

namespace zvprobe {
namespace {

void append(MpegAudioCopyList::Pieces& pieces, uint64_t offset, uint64_t length) {
    if (!pieces.empty() && pieces.back().offset + pieces.back().length == offset)
        pieces.back().length += length;
    else
        pieces.push_back({offset, length});
}

uint64_t sum_of(const MpegAudioCopyList::Pieces& pieces) {
    uint64_t sum = 0;
    for (const MpegAudioCopyList::Piece& piece : pieces)
        sum += piece.length;
    return sum;
}

}  // namespace

void MpegAudioCopyList::add(const AudioTag& tag) {
    append(tags_, tag.offset, tag.size);
}

void MpegAudioCopyList::add(const MpegAudioWalk::Frame& frame, bool sound) {
    const Pieces tags = std::exchange(tags_, {});
    if (!std::exchange(begun_, true))
        before_ = tags;
    else
        left_out_ += sum_of(tags);
    if (!sound) return;
    if (frames_.empty()) {
        facts_.like = frame.head;
        facts_.header_end = {frame.bytes[2], frame.bytes[3]};
    }
    append(frames_, frame.offset, frame.bytes.size());
    table_.add(frame.bytes.size());
    if (frame.head.free) ++free_frames_;
    crc_.take(frame.bytes);
}

uint64_t MpegAudioCopyList::bytes() const {
    return sum_of(tags_before()) + sum_of(frames_) + sum_of(tags_after());
}

std::vector<uint8_t> MpegAudioCopyList::make_info(const MpegAudioReport& report) const {
    if (frames_.empty()) return {};
    InfoFacts facts = facts_;
    facts.variable = report.is_variable();
    facts.old = report.info && report.info->kind != "VBRI" ? &*report.info : nullptr;
    facts.same_end = report.ends_as_encoded();
    facts.sound_crc = crc_.value();
    return info_frame_size(facts) == 0 ? std::vector<uint8_t>() : make_info_frame(facts, table_);
}

}  // namespace zvprobe
