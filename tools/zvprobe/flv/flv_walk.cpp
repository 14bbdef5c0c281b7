// SPDX-License-Identifier: MIT
// Implementation of flv_walk.h.
#include "flv/flv_walk.h"

#include <algorithm>
#include <cstring>

#include "base/bytes.h"
#include "flv.h"
#include "flv/flv_packets.h"

namespace zvprobe {
namespace {

constexpr size_t kHeaderSize = ZV_FLV_TAG_HEADER_SIZE;
constexpr size_t kSizeWord = ZV_FLV_PREVIOUS_TAG_SIZE;

// How much of a body is kept: script data whole, as far as is sensible; the codecs' configuration;
// of everything else what the codec headers and the first bytes of a picture need.
constexpr uint32_t kScriptKept = uint32_t{4} << 20;
constexpr uint32_t kTracksKept = uint32_t{1} << 20;
constexpr uint32_t kConfigKept = 16 << 10;
constexpr uint32_t kFrameKept = 64;

bool is_known_type(uint8_t first_byte) {
    const uint8_t type = first_byte & zv::flv::kTagTypeMask;
    return (first_byte & zv::flv::kReservedBits) == 0 &&
           (type == ZV_FLV_TAG_AUDIO || type == ZV_FLV_TAG_VIDEO || type == ZV_FLV_TAG_SCRIPT);
}

// start: of the tag, its header and two bytes of the body
uint32_t body_kept(const FlvTag& tag, std::span<const uint8_t> start) {
    uint32_t most = kFrameKept;
    if (tag.type == ZV_FLV_TAG_SCRIPT) most = kScriptKept;
    const bool video = tag.type == ZV_FLV_TAG_VIDEO;
    if ((video || tag.type == ZV_FLV_TAG_AUDIO) && start.size() > kHeaderSize) {
        const auto body = start.subspan(kHeaderSize);
        const FlvKept kept =
            kept_for_packets(video, body.first(std::min<size_t>(body.size(), tag.data_len)));
        if (kept == FlvKept::kConfig) most = kConfigKept;
        if (kept == FlvKept::kTracks) most = kTracksKept;
    }
    return std::min(tag.data_len, most);
}

}  // namespace

uint32_t flv_timestamp(std::span<const uint8_t> header) {
    return load_be24(header.subspan(4)) | uint32_t{header[7]} << 24;
}

uint32_t FlvTag::size() const {
    return uint32_t{kHeaderSize} + data_len;
}

uint64_t FlvReading::accounted_bytes() const {
    return header_length + kSizeWord + tag_bytes + skipped_bytes + trailing_bytes;
}

std::span<const uint8_t> FlvTag::body() const {
    return std::span(bytes).subspan(std::min(bytes.size(), kHeaderSize));
}

bool starts_like_flv(std::span<const uint8_t> bytes) {
    constexpr uint8_t kMaxVersion = 15;
    return bytes.size() >= ZV_FLV_FILE_HEADER_SIZE && std::memcmp(bytes.data(), "FLV", 3) == 0 &&
           bytes[3] <= kMaxVersion && load_be32(bytes.subspan(5)) >= ZV_FLV_FILE_HEADER_SIZE &&
           load_be32(bytes.subspan(5)) <= Source::kMaxKept;
}

void FlvWalk::begin() {
    const auto header = cursor_.peek(ZV_FLV_FILE_HEADER_SIZE);
    reading_.version = header[3];
    reading_.flags = header[4];
    reading_.header_length = load_be32(header.subspan(5));
    cursor_.skip(reading_.header_length);
    const auto word = cursor_.peek(kSizeWord);
    if (word.size() < kSizeWord) return end(word.size());
    check_size_word(cursor_.position(), 0, load_be32(word));
    cursor_.skip(kSizeWord);
    reading_.bytes = cursor_.position();
}

bool FlvWalk::next(FlvTag& tag) {
    for (;;) {
        const auto header = cursor_.peek(kHeaderSize);
        if (header.size() < kHeaderSize) {
            end(header.size());
            return false;
        }
        if (is_tag(header)) return read_tag(tag);
        find_tag();
    }
}

// While in step, other tag types are passed over, and a stream id is only counted.
bool FlvWalk::is_tag(std::span<const uint8_t> header) const {
    const bool known = is_known_type(header[0]);
    const bool no_stream_id = load_be24(header.subspan(8)) == 0;
    if (!in_step_) return known && no_stream_id;
    const bool other =
        (header[0] & zv::flv::kReservedBits) == 0 && (header[0] & zv::flv::kTagTypeMask) != 0;
    return known || (other && no_stream_id);
}

// Out of step a tag must look like the next one of this stream: about one in 10^12 places of
// random bytes does.
bool FlvWalk::may_be_tag(std::span<const uint8_t> bytes) const {
    constexpr int64_t kMaxJump = 600'000;  // ms
    if (!is_known_type(bytes[0]) || load_be24(bytes.subspan(8)) != 0 ||
        load_be24(bytes.subspan(1)) == 0)
        return false;
    const int64_t jump = int64_t{flv_timestamp(bytes)} - last_timestamp_;
    if (jump < -kMaxJump || jump > kMaxJump) return false;
    const bool is_video = (bytes[0] & zv::flv::kTagTypeMask) == ZV_FLV_TAG_VIDEO;
    return !is_video || may_begin_video(bytes[kHeaderSize]);
}

bool FlvWalk::read_tag(FlvTag& tag) {
    tag.offset = cursor_.position();
    const auto start = cursor_.peek(kHeaderSize + 2);
    tag.type = start[0] & zv::flv::kTagTypeMask;
    tag.filtered = (start[0] & zv::flv::kFilterBit) != 0;
    tag.timestamp = flv_timestamp(start);
    tag.data_len = load_be24(start.subspan(1));
    tag.stream_id = load_be24(start.subspan(8));
    cursor_.prefetch(tag.size());
    tag.bytes.clear();
    cursor_.read(kHeaderSize + body_kept(tag, start), tag.bytes);
    cursor_.skip(tag.size() - tag.bytes.size());
    const auto word = cursor_.peek(kSizeWord);
    if (word.size() < kSizeWord || cursor_.position() - tag.offset < tag.size()) {
        if (!cursor_.stopped()) note_cut_off(tag);
        end(cursor_.position() - tag.offset + word.size());
        return false;
    }
    tag.size_word = load_be32(word);
    check_size_word(cursor_.position(), tag.size(), tag.size_word);
    cursor_.skip(kSizeWord);
    ++reading_.tags;
    if (tag.stream_id != 0 && ++reading_.stream_id_tags == 1)
        tell({tag.offset, FlvFinding::Kind::kStreamId, tag.stream_id});
    reading_.tag_bytes += tag.size() + kSizeWord;
    reading_.bytes = cursor_.position();
    if (in_step_) last_timestamp_ = tag.timestamp;  // a damaged tag may have any
    return true;
}

void FlvWalk::note_cut_off(const FlvTag& tag) {
    reading_.truncated = TruncatedTag{tag.offset, tag.type, tag.size() + kSizeWord};
    tell({tag.offset, FlvFinding::Kind::kCutOff});
}

void FlvWalk::tell(const FlvFinding& finding) const {
    if (on_finding_) on_finding_(finding);
}

void FlvWalk::check_size_word(uint64_t offset, uint32_t expected, uint32_t found) {
    in_step_ = found == expected;
    if (in_step_) return;
    reading_.mismatches.add({offset, expected, found});
    tell({offset, FlvFinding::Kind::kSizeWord, found, expected});
}

void FlvWalk::find_tag() {
    constexpr size_t kNeeded = kHeaderSize + 1;
    const uint64_t lost_at = cursor_.position();
    for (size_t at = 1;; at = 0) {
        const auto bytes = cursor_.peek(Source::kMaxKept);
        while (at + kNeeded <= bytes.size() && !may_be_tag(bytes.subspan(at)))
            ++at;
        const bool found = at + kNeeded <= bytes.size();
        const bool ends = bytes.size() < Source::kMaxKept;
        cursor_.skip(found || !ends ? at : bytes.size());
        if (found || ends) break;
    }
    in_step_ = false;
    const uint64_t skipped = cursor_.position() - lost_at;
    reading_.skipped_bytes += skipped;
    reading_.bytes = cursor_.position();
    reading_.losses.add({lost_at, skipped});
    tell({lost_at, FlvFinding::Kind::kNoTag, skipped});
}

// What a signal cut off is no damage, and not counted as read.
void FlvWalk::end(uint64_t trailing) {
    if (cursor_.stopped()) return;
    reading_.trailing_bytes += trailing;
    cursor_.skip(cursor_.peek(kSizeWord + kHeaderSize).size());
    reading_.bytes = cursor_.position();
}

}  // namespace zvprobe
