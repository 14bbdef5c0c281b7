// SPDX-License-Identifier: MIT
// Implementation of flv_copy.h.
#include "flv/flv_copy.h"

#include <algorithm>
#include <utility>

#include "base/bytes.h"

namespace zvprobe {
namespace {

constexpr uint32_t kSizeWord = ZV_FLV_PREVIOUS_TAG_SIZE;

// Of the old block; what is said here anew comes on top.
constexpr size_t kMostOldBytes = size_t{1} << 20;

}  // namespace

void FlvCopyList::keep_old_values(const FlvTag& tag) {
    if (std::exchange(seen_block_, true)) return;
    const auto body = tag.body();
    const ScriptData script = read_script_data(body, ScriptData::kMaxIndexValues);
    loses_old_values_ = !script.complete || tag.bytes.size() < tag.size();
    size_t kept = 0;
    for (const AmfMember& member : script.members) {
        kept += member.key.size() + member.end - member.begin;
        loses_old_values_ |= kept > kMostOldBytes;
        if (kept > kMostOldBytes) return;
        const auto bytes = body.subspan(member.begin, member.end - member.begin);
        old_values_.push_back({member.key, {bytes.begin(), bytes.end()}});
    }
}

void FlvCopyList::add(const FlvTag& tag, const FlvTagFacts& facts) {
    if (facts.meta_data) return keep_old_values(tag);
    const int64_t base = facts.time - tag.timestamp;
    if (facts.frame && base != time_bases_.back().time) time_bases_.push_back({bytes_, base});
    if (facts.key_frame) key_frames_.push_back({bytes_, facts.time});
    const uint64_t size = tag.size() + kSizeWord;
    if (tag.type == ZV_FLV_TAG_AUDIO) audio_bytes_ += tag.size();
    if (tag.type == ZV_FLV_TAG_VIDEO) video_bytes_ += tag.size();
    ++tags_;
    bytes_ += size;
    const bool right = tag.size_word == tag.size();
    Piece piece = {tag.offset, tag.size() + (right ? kSizeWord : 0), std::nullopt};
    if (!right) piece.size_word = tag.size();
    if (!pieces_.empty()) {
        Piece& last = pieces_.back();
        if (!last.size_word && last.offset + last.length == piece.offset) {
            last.length += piece.length;
            last.size_word = piece.size_word;
            return;
        }
    }
    pieces_.push_back(piece);
}

void FlvTagCounter::take(std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
        if (left_ > 0) {
            const auto passed = std::min<uint64_t>(left_, bytes.size());
            left_ -= passed;
            bytes = bytes.subspan(static_cast<size_t>(passed));
            continue;
        }
        head_[head_size_++] = bytes[0];
        bytes = bytes.subspan(1);
        if (head_size_ < kHeadSize) continue;
        head_size_ = 0;
        const uint32_t body = big_endian(std::span(head_).subspan(1));
        left_ = ZV_FLV_TAG_HEADER_SIZE - kHeadSize + body + kSizeWord;
        ++tags_;
    }
}

uint32_t FlvTimeShift::moved_stamp(uint64_t position, uint32_t stamp) {
    constexpr int64_t kLargest = 0xFFFFFFFF;
    const auto& bases = list_->time_bases();
    while (base_ + 1 < bases.size() && bases[base_ + 1].position <= position)
        ++base_;
    const int64_t time = moved_time(bases[base_].time + stamp);
    return static_cast<uint32_t>(std::clamp(time, int64_t{0}, kLargest));
}

}  // namespace zvprobe
