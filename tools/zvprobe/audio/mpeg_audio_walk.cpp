// SPDX-License-Identifier: MIT
// Implementation of mpeg_audio_walk.h. A header alone is weak evidence, one place in 6000 of random
// bytes has one: where no frame ended, the headers behind it must be in step as well.
#include "audio/mpeg_audio_walk.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/bytes.h"
#include "base/texts.h"

namespace zvprobe {
namespace {

using zv::survey::parse_mpeg_audio_header;

constexpr uint8_t kSyncByte = 0xFF;
constexpr size_t kId3v1Size = 128;
constexpr size_t kId3v2HeaderSize = 10;

// Frames in a row that are no accident, at the start of a source and elsewhere.
constexpr size_t kStartRun = 3;
constexpr size_t kLateRun = 5;
constexpr size_t kResyncRun = 2;

bool is_id3v1(std::span<const uint8_t> bytes) {
    return bytes.size() >= kId3v1Size && std::memcmp(bytes.data(), "TAG", 3) == 0;
}

// -> bytes of the ID3v2 tag there, footer included; 0 when there is none
uint64_t id3v2_size(std::span<const uint8_t> bytes) {
    constexpr uint8_t kFooter = 0x10;
    if (bytes.size() < kId3v2HeaderSize || std::memcmp(bytes.data(), "ID3", 3) != 0) return 0;
    if (bytes[3] == 0xFF || bytes[4] == 0xFF) return 0;
    uint64_t size = 0;
    for (const uint8_t byte : bytes.subspan(6, 4)) {
        if (byte >= 0x80) return 0;
        size = size << 7 | byte;
    }
    return kId3v2HeaderSize + size + ((bytes[5] & kFooter) != 0 ? kId3v2HeaderSize : 0);
}

// Do frames follow each other from the first byte on? A run may be shorter when it reaches the end
// of the source, or a tag that stands there.
bool run_of_frames(std::span<const uint8_t> bytes, size_t wanted, bool whole) {
    auto rest = bytes;
    std::optional<MpegAudioHeader> last;
    for (size_t found = 0; found < wanted; ++found) {
        if (found > 0 && whole && (rest.empty() || is_id3v1(rest))) return true;
        const auto header = parse_mpeg_audio_header(rest);
        if (!header || (last && !header->continues(*last))) return false;
        last = header;
        const size_t size = header->frame_size();
        if (found + 1 < wanted && size > rest.size()) return false;
        rest = rest.subspan(std::min(size, rest.size()));
    }
    return true;
}

struct Place {
    size_t offset;  // of a frame, or of the first byte that may still begin one
    bool found;
};

Place find_frame(std::span<const uint8_t> bytes, size_t from, bool ends) {
    constexpr size_t kJudged = MpegAudioHeader::kMaxFrame + MpegAudioHeader::kSize;
    for (size_t at = find_byte(bytes, kSyncByte, from); at < bytes.size();
         at = find_byte(bytes, kSyncByte, at + 1)) {
        if (run_of_frames(bytes.subspan(at), kResyncRun, ends)) return {at, true};
        if (!ends && bytes.size() - at < kJudged) return {at, false};
    }
    return {bytes.size(), false};
}

}  // namespace

bool starts_like_mpeg_audio(std::span<const uint8_t> bytes, bool whole) {
    auto rest = bytes;
    for (uint64_t size; (size = id3v2_size(rest)) != 0;
         rest = rest.subspan(static_cast<size_t>(size)))
        if (size >= rest.size()) return !whole;
    if (run_of_frames(rest, kStartRun, whole)) return true;
    // A recording of a broadcast begins in the middle of a frame.
    const size_t last = std::min(rest.size(), MpegAudioHeader::kMaxFrame);
    for (size_t at = find_byte(rest, kSyncByte, 0); at < last;
         at = find_byte(rest, kSyncByte, at + 1))
        if (run_of_frames(rest.subspan(at), kLateRun, false)) return true;
    return false;
}

std::optional<MpegAudioWalk::Frame> MpegAudioWalk::next() {
    cursor_.skip(std::exchange(to_pass_, 0));
    for (;;) {
        if (const auto frame = read_frame()) return frame;
        if (cursor_.peek(1).empty()) break;
        if (skip_tag()) continue;
        if (cursor_.peek(Source::kMaxKept).size() < Source::kMaxKept && cursor_.stopped())
            break;  // a signal cut them off: no damage, and too few to judge
        if (!read_cut_frame()) skip_stray();
    }
    reading_.bytes = cursor_.position();
    return std::nullopt;
}

std::optional<MpegAudioWalk::Frame> MpegAudioWalk::read_frame() {
    const auto start = cursor_.peek(MpegAudioHeader::kSize);
    const auto header = parse_mpeg_audio_header(start);
    if (!header) return std::nullopt;
    const size_t size = header->frame_size();
    if (!last_ || !header->continues(*last_)) {
        const auto ahead = cursor_.peek(Source::kMaxKept);
        if (!run_of_frames(ahead, kResyncRun, ahead.size() < Source::kMaxKept)) return std::nullopt;
    }
    // Frames are mostly of one size: ask the memory for a header further on, wherever that is.
    constexpr uintptr_t kLookAhead = 16;
    __builtin_prefetch(reinterpret_cast<const void*>(reinterpret_cast<uintptr_t>(start.data()) +
                                                     kLookAhead * size));
    const Frame frame = {cursor_.position(), *header, cursor_.peek(size)};
    if (frame.bytes.size() < size) return std::nullopt;
    last_ = header;
    ++reading_.frames;
    reading_.frame_bytes += size;
    reading_.bytes = frame.offset + size;
    to_pass_ = size;
    return frame;
}

// At the end of the source a header in step is one, though its frame, or itself, was cut off.
bool MpegAudioWalk::read_cut_frame() {
    if (!last_) return false;
    const auto rest = cursor_.peek(MpegAudioHeader::kMaxFrame);
    const auto header = parse_mpeg_audio_header(rest);
    const bool cut_header = rest[0] == 0xFF && rest.size() < MpegAudioHeader::kSize;
    const bool cut_frame =
        header && header->continues(*last_) && rest.size() < header->frame_size();
    if (!cut_header && !cut_frame) return false;
    const uint64_t offset = cursor_.position();
    reading_.trailing_bytes = cursor_.skip(rest.size());
    if (findings_.next()) findings_.tell(offset, "the frame is cut off");
    return true;
}

bool MpegAudioWalk::skip_tag() {
    const auto rest = cursor_.peek(kId3v1Size);
    if (const uint64_t size = id3v2_size(rest); size != 0) {
        ++reading_.id3v2_tags;
        reading_.id3v2_bytes += cursor_.skip(size);
        return true;
    }
    if (!is_id3v1(rest)) return false;
    ++reading_.id3v1_tags;
    reading_.id3v1_bytes += cursor_.skip(kId3v1Size);
    return true;
}

void MpegAudioWalk::skip_stray() {
    const uint64_t offset = cursor_.position();
    last_.reset();
    size_t from = 1;
    for (bool done = false; !done; from = 0) {
        const auto bytes = cursor_.peek(Source::kMaxKept);
        const bool ends = bytes.size() < Source::kMaxKept;
        const Place place = find_frame(bytes, from, ends);
        cursor_.skip(place.offset);
        done = place.found || ends;
    }
    const uint64_t count = cursor_.position() - offset;
    reading_.stray_bytes += count;
    reading_.stray.add({offset, count});
    if (findings_.next())
        findings_.tell(offset, counted(count, "byte", "bytes") + " of no frame skipped");
}

}  // namespace zvprobe
