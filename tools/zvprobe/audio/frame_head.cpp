// SPDX-License-Identifier: MIT
// Implementation of frame_head.h. A header alone is weak evidence, one place in 6000 of random bytes
// has one: where no frame ended, the headers after it must be in step as well.
#include "audio/frame_head.h"

#include <algorithm>

#include "audio/audio_tags.h"
#include "base/bytes.h"

namespace zvprobe {
namespace {

using zv::survey::parse_mpeg_audio_header;

constexpr uint8_t kBitrateMask = 0xF0;
constexpr size_t kLeastFrame = 24;  // Layer III, 8 kbit/s at 24 kHz

size_t slot_size(const MpegAudioHeader& header) {
    return header.layer == 1 ? 4 : 1;
}

size_t padding_size(const MpegAudioHeader& header) {
    return header.padding ? slot_size(header) : 0;
}

// The parser takes no free bit rate, so it is given another one.
std::optional<MpegAudioHeader> parse_free_header(std::span<const uint8_t> bytes) {
    if (bytes.size() < MpegAudioHeader::kSize || (bytes[2] & kBitrateMask) != 0)
        return std::nullopt;
    std::array<uint8_t, MpegAudioHeader::kSize> copy;
    std::copy_n(bytes.begin(), copy.size(), copy.begin());
    copy[2] |= 0x10;
    auto header = parse_mpeg_audio_header(copy);
    if (header) header->bitrate = 0;
    return header;
}

// Of one stream at a free bit rate: padding, private bit and mode extension may differ.
bool is_like(std::span<const uint8_t> bytes, std::span<const uint8_t> first) {
    return bytes.size() >= MpegAudioHeader::kSize && bytes[0] == first[0] && bytes[1] == first[1] &&
           (bytes[2] & 0xFC) == (first[2] & 0xFC) && (bytes[3] & 0xC0) == (first[3] & 0xC0);
}

// -> bytes of the frame without padding: the least with which the two next headers, as far as there
//    are bytes, are in step; 0 when there are none
size_t find_free_size(std::span<const uint8_t> bytes, const MpegAudioHeader& header) {
    const auto view = bytes.first(std::min(bytes.size(), kMostFreeFrame + MpegAudioHeader::kSize));
    for (size_t at = find_byte(view, bytes[0], kLeastFrame); at < view.size();
         at = find_byte(view, bytes[0], at + 1)) {
        const auto second = bytes.subspan(at);
        if (!is_like(second, bytes)) continue;
        const size_t size = at - padding_size(header);
        if (size % slot_size(header) != 0) continue;
        const size_t third = at + size + padding_size(*parse_free_header(second));
        if (third + MpegAudioHeader::kSize > bytes.size() || is_like(bytes.subspan(third), bytes))
            return size;
    }
    return 0;
}

uint32_t bitrate_of(size_t size, const MpegAudioHeader& header) {
    const uint64_t bits = uint64_t{size} * 8 * header.sample_rate;
    const uint64_t per_kbit = uint64_t{header.samples()} * 1000;
    return static_cast<uint32_t>((bits + per_kbit / 2) / per_kbit);
}

bool find_run(FrameReader& reader, std::span<const uint8_t> bytes, RunRule rule, bool ends) {
    auto rest = bytes;
    std::optional<MpegAudioHeader> last;
    for (size_t found = 0; found < rule.wanted; ++found) {
        if (found > 0 && ((ends && rest.empty()) || is_tag(rest))) return true;
        if (!ends && found >= rule.least_in_view && rest.size() < MpegAudioHeader::kSize)
            return true;
        const auto head = reader.read(rest);
        if (!head || (last && !head->header.continues(*last))) return false;
        last = head->header;
        if (found + 1 < rule.wanted && ends && head->size > rest.size()) return false;
        rest = rest.subspan(std::min(head->size, rest.size()));
    }
    return true;
}

}  // namespace

std::optional<FrameHead> FrameReader::read_anew(std::span<const uint8_t> bytes) {
    const auto header = parse_mpeg_audio_header(bytes);
    if (!header) return read_free(bytes);
    const FrameHead head = {*header, false, header->frame_size()};
    seen_[bytes[2]] = {rest_of(bytes), head};
    return head;
}

std::optional<FrameHead> FrameReader::read_free(std::span<const uint8_t> bytes) {
    auto header = parse_free_header(bytes);
    if (!header) return std::nullopt;
    if (!knows(*header)) {
        if (searches_left_ == 0 || bytes.size() < kLeastFrame + MpegAudioHeader::kSize)
            return std::nullopt;
        --searches_left_;
        const size_t size = find_free_size(bytes, *header);
        if (size == 0) return std::nullopt;
        known_ = header;
        size_ = size;
    }
    header->bitrate = bitrate_of(size_, *header);
    return FrameHead{*header, true, size_ + padding_size(*header)};
}

bool FrameReader::is_header(std::span<const uint8_t> bytes) {
    return parse_mpeg_audio_header(bytes) || parse_free_header(bytes);
}

bool FrameReader::doubt(std::span<const uint8_t> bytes) {
    if (!known_ || searches_left_ == 0 || !parse_free_header(bytes)) return false;
    known_.reset();
    return true;
}

bool run_of_frames(FrameReader& reader, std::span<const uint8_t> bytes, RunRule rule, bool ends) {
    return find_run(reader, bytes, rule, ends) ||
           (reader.doubt(bytes) && find_run(reader, bytes, rule, ends));
}

}  // namespace zvprobe
