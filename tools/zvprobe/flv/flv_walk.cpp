// SPDX-License-Identifier: MIT
// Implementation of flv_walk.h.
#include "flv/flv_walk.h"

#include <algorithm>
#include <cstring>

#include "base/bytes.h"
#include "base/texts.h"
#include "flv.h"

namespace zvprobe {
namespace {

constexpr size_t kHeaderSize = ZV_FLV_TAG_HEADER_SIZE;
constexpr size_t kSizeWord = ZV_FLV_PREVIOUS_TAG_SIZE;

// How much of a body is kept: script data whole, as far as is sensible; the codecs' configuration;
// of everything else what the codec headers and the first bytes of a picture need.
constexpr uint32_t kScriptKept = uint32_t{1} << 20;
constexpr uint32_t kConfigKept = 1024;
constexpr uint32_t kFrameKept = 64;

constexpr uint8_t kReservedBits = 0xC0;
constexpr uint8_t kFilterBit = 0x20;
constexpr uint8_t kTypeBits = 0x1F;

uint32_t timestamp_of(std::span<const uint8_t> header) {
    return big_endian(header.subspan(4, 3)) | uint32_t{header[7]} << 24;
}

bool is_known_type(uint8_t first_byte) {
    const uint8_t type = first_byte & kTypeBits;
    return (first_byte & kReservedBits) == 0 &&
           (type == ZV_FLV_TAG_AUDIO || type == ZV_FLV_TAG_VIDEO || type == ZV_FLV_TAG_SCRIPT);
}

uint32_t body_kept(const FlvTag& tag, std::span<const uint8_t> start) {
    constexpr uint8_t kAac = 10;
    constexpr uint8_t kAvc = 7;
    uint32_t most = kFrameKept;
    if (tag.type == ZV_FLV_TAG_SCRIPT) most = kScriptKept;
    if (start.size() > kHeaderSize + 1) {
        const uint8_t codecs = start[kHeaderSize];
        const bool is_config = start[kHeaderSize + 1] == 0;
        const bool audio = tag.type == ZV_FLV_TAG_AUDIO && codecs >> 4 == kAac;
        const bool video = tag.type == ZV_FLV_TAG_VIDEO && (codecs & 0x0F) == kAvc;
        if (is_config && (audio || video)) most = kConfigKept;
    }
    return std::min(tag.data_len, most);
}

}  // namespace

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
           bytes[3] <= kMaxVersion && big_endian(bytes.subspan(5, 4)) >= ZV_FLV_FILE_HEADER_SIZE &&
           big_endian(bytes.subspan(5, 4)) <= Source::kMaxKept;
}

void FlvWalk::begin() {
    const auto header = cursor_.peek(ZV_FLV_FILE_HEADER_SIZE);
    reading_.version = header[3];
    reading_.flags = header[4];
    reading_.header_length = big_endian(header.subspan(5, 4));
    cursor_.skip(reading_.header_length);
    const auto word = cursor_.peek(kSizeWord);
    if (word.size() < kSizeWord) return end(word.size());
    check_size_word(cursor_.position(), 0, big_endian(word));
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

// While in step, other tag types are passed over, and a stream id is nobody's business.
bool FlvWalk::is_tag(std::span<const uint8_t> header) const {
    const bool known = is_known_type(header[0]);
    const bool no_stream_id = big_endian(header.subspan(8, 3)) == 0;
    if (!in_step_) return known && no_stream_id;
    const bool other = (header[0] & kReservedBits) == 0 && (header[0] & kTypeBits) != 0;
    return known || (other && no_stream_id);
}

// Out of step a tag must look like the next one of this stream: about one in 10^12 places of
// random bytes does.
bool FlvWalk::may_be_tag(std::span<const uint8_t> bytes) const {
    constexpr int64_t kMaxJump = 600'000;  // ms
    if (!is_known_type(bytes[0]) || big_endian(bytes.subspan(8, 3)) != 0 ||
        big_endian(bytes.subspan(1, 3)) == 0)
        return false;
    const int64_t jump = int64_t{timestamp_of(bytes)} - last_timestamp_;
    if (jump < -kMaxJump || jump > kMaxJump) return false;
    const uint8_t codecs = bytes[kHeaderSize];
    const bool is_video = (bytes[0] & kTypeBits) == ZV_FLV_TAG_VIDEO;
    return !is_video || (codecs & 0x0F) != 0;
}

bool FlvWalk::read_tag(FlvTag& tag) {
    tag.offset = cursor_.position();
    const auto start = cursor_.peek(kHeaderSize + 2);
    tag.type = start[0] & kTypeBits;
    tag.filtered = (start[0] & kFilterBit) != 0;
    tag.timestamp = timestamp_of(start);
    tag.data_len = big_endian(start.subspan(1, 3));
    tag.bytes.clear();
    cursor_.read(kHeaderSize + body_kept(tag, start), tag.bytes);
    cursor_.skip(tag.size() - tag.bytes.size());
    const auto word = cursor_.peek(kSizeWord);
    if (word.size() < kSizeWord || cursor_.position() - tag.offset < tag.size()) {
        if (!cursor_.stopped()) note_cut_off(tag);
        end(cursor_.position() - tag.offset + word.size());
        return false;
    }
    tag.size_word = big_endian(word);
    check_size_word(cursor_.position(), tag.size(), tag.size_word);
    cursor_.skip(kSizeWord);
    ++reading_.tags;
    reading_.tag_bytes += tag.size() + kSizeWord;
    reading_.bytes = cursor_.position();
    if (in_step_) last_timestamp_ = tag.timestamp;  // a damaged tag may have any
    return true;
}

void FlvWalk::note_cut_off(const FlvTag& tag) {
    reading_.truncated = TruncatedTag{tag.offset, tag.type, tag.size() + kSizeWord};
    if (findings_.next()) findings_.tell(tag.offset, "the tag is cut off");
}

void FlvWalk::check_size_word(uint64_t offset, uint32_t expected, uint32_t found) {
    in_step_ = found == expected;
    if (in_step_) return;
    reading_.mismatches.add({offset, expected, found});
    if (findings_.next()) {
        findings_.tell(offset, "size word " + std::to_string(found) + " behind a tag of " +
                                   counted(expected, "byte", "bytes"));
    }
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
    if (findings_.next())
        findings_.tell(lost_at, "no tag, " + counted(skipped, "byte", "bytes") + " skipped");
}

// What a signal cut off is no damage, and not counted as read.
void FlvWalk::end(uint64_t trailing) {
    if (cursor_.stopped()) return;
    reading_.trailing_bytes += trailing;
    cursor_.skip(cursor_.peek(kSizeWord + kHeaderSize).size());
    reading_.bytes = cursor_.position();
}

}  // namespace zvprobe
