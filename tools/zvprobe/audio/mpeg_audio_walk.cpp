// SPDX-License-Identifier: MIT
// Implementation of mpeg_audio_walk.h.
#include "audio/mpeg_audio_walk.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "audio/riff_head.h"
#include "base/bytes.h"

namespace zvprobe {
namespace {

constexpr uint8_t kSyncByte = 0xFF;
constexpr size_t kTagHead = 512;  // by so much a tag is known

// Frames in a row that are no accident: at the start of a source, after bytes of something else
// there, and after damage to a stream whose kind is known or not.
constexpr RunRule kStartRun = {3, 3};
constexpr RunRule kLateRun = {5, 5};
constexpr RunRule kKnownRun = {2, 2};
constexpr RunRule kStrangeRun = {3, 2};

std::string_view text_of(std::span<const uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

constexpr size_t kMostJunk = size_t{64} << 10;

// A recording of a broadcast begins in the middle of a frame; other files begin with the rest of a
// web page, or padding. Readers of pipes show no more than this at first.
bool has_late_frames(FrameReader& reader, std::span<const uint8_t> bytes) {
    constexpr size_t kRoomForRun = size_t{16} << 10;
    const auto view = bytes.first(std::min(bytes.size(), kMostJunk + kRoomForRun));
    const size_t end = std::min(view.size(), kMostJunk + 1);
    for (size_t at = find_byte(view, kSyncByte, 0); at < end;
         at = find_byte(view, kSyncByte, at + 1))
        if (run_of_frames(reader, view.subspan(at), kLateRun, false)) return true;
    return false;
}

// The junk may also stand before a tag, which the frames follow.
bool has_late_tag(FrameReader& reader, std::span<const uint8_t> bytes, bool whole) {
    const size_t end = std::min(bytes.size(), kMostJunk + 1);
    for (size_t at = 0; at < end; ++at) {
        const auto tag = bytes.subspan(at);
        const uint64_t size = sure_tag_size(tag);
        if (size == 0) continue;
        if (size >= tag.size()) {
            if (!whole) return true;
        } else if (run_of_frames(reader, tag.subspan(static_cast<size_t>(size)), kStartRun,
                                 whole)) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool starts_like_mpeg_audio(std::span<const uint8_t> bytes, bool whole) {
    if (is_other_container(bytes)) return false;
    auto rest = bytes;
    if (const auto riff = read_riff_head(bytes))
        rest = rest.subspan(static_cast<size_t>(riff->data_begin));
    for (uint64_t size; (size = std::max(id3v2_size(rest), ape_size(rest))) != 0;
         rest = rest.subspan(static_cast<size_t>(size)))
        if (size >= rest.size()) return !whole;
    FrameReader reader;
    return run_of_frames(reader, rest, kStartRun, whole) || has_late_frames(reader, rest) ||
           has_late_tag(reader, rest, whole);
}

MpegAudioWalk::MpegAudioWalk(ByteCursor& cursor, const MpegAudioListeners& listeners)
    : cursor_(cursor), listeners_(listeners) {
    if (const auto riff = read_riff_head(cursor_.peek(Source::kMaxKept))) {
        reading_.riff_bytes = cursor_.skip(riff->data_begin);
        data_end_ = riff->data_end;
        riff_end_ = riff->riff_end;
    }
}

// Frames and tags end where a RIFF file's sound does.
std::span<const uint8_t> MpegAudioWalk::peek(size_t count) {
    const uint64_t left = data_end_ - cursor_.position();
    return cursor_.peek(static_cast<size_t>(std::min<uint64_t>(count, left)));
}

uint64_t MpegAudioWalk::skip(uint64_t count) {
    return cursor_.skip(std::min(count, data_end_ - cursor_.position()));
}

void MpegAudioWalk::read(uint64_t count, std::vector<uint8_t>& out) {
    const uint64_t left = data_end_ - cursor_.position();
    cursor_.read(static_cast<size_t>(std::min(count, left)), out);
}

std::optional<MpegAudioWalk::Frame> MpegAudioWalk::next() {
    cursor_.skip(std::exchange(to_pass_, 0));
    for (;;) {
        if (const auto frame = read_frame()) return frame;
        if (peek(1).empty()) {
            if (skip_riff()) continue;
            break;
        }
        if (skip_tag()) continue;
        if (cursor_.stopped() && peek(Source::kMaxKept).size() < Source::kMaxKept)
            break;  // no damage, and too few bytes to judge
        if (!read_cut_frame()) skip_stray();
    }
    reading_.bytes = cursor_.position();
    reading_.cut_short = cursor_.stopped();
    return std::nullopt;
}

std::optional<MpegAudioWalk::Frame> MpegAudioWalk::read_frame() {
    const auto start = peek(MpegAudioHeader::kSize);
    auto head = reader_.read(start);
    if (!head && FrameReader::is_header(start))  // at a free bit rate the next one tells the size
        head = reader_.read(peek(Source::kMaxKept));
    if (!head || !is_in_step(*head)) return std::nullopt;
    // Frames are mostly of one size: ask the memory for a header further on, wherever that is.
    constexpr uintptr_t kLookAhead = 16;
    const Frame frame = {cursor_.position(), *head, peek(head->size)};
    __builtin_prefetch(reinterpret_cast<const void*>(
        reinterpret_cast<uintptr_t>(frame.bytes.data()) + kLookAhead * head->size));
    if (frame.bytes.size() < head->size) return std::nullopt;
    last_ = stream_ = head->header;
    ++reading_.frames;
    reading_.frame_bytes += head->size;
    reading_.bytes = frame.offset + head->size;
    to_pass_ = head->size;
    return frame;
}

// May change the head's size where that is free, for the run may show another.
bool MpegAudioWalk::is_in_step(FrameHead& head) {
    if (last_ && head.header.continues(*last_)) return true;
    const auto ahead = peek(Source::kMaxKept);
    if (!run_of_frames(reader_, ahead, rule_for(head.header), ahead.size() < Source::kMaxKept))
        return false;
    if (head.free) head = *reader_.read(ahead);
    return true;
}

// What is of the stream's kind needs less evidence.
RunRule MpegAudioWalk::rule_for(const MpegAudioHeader& header) const {
    return stream_ && header.continues(*stream_) ? kKnownRun : kStrangeRun;
}

// At the end of the source a header in step is one, though its frame, or itself, was cut off.
bool MpegAudioWalk::read_cut_frame() {
    if (!last_) return false;
    const auto rest = peek(Source::kMaxKept);
    const auto head = reader_.read(rest);
    const bool cut_header = rest[0] == kSyncByte && rest.size() < MpegAudioHeader::kSize;
    const bool cut_frame = head && head->header.continues(*last_) && rest.size() < head->size;
    if (!cut_header && !cut_frame) return false;
    const uint64_t offset = cursor_.position();
    reading_.trailing_bytes = skip(rest.size());
    if (listeners_.on_finding)
        listeners_.on_finding({MpegAudioFinding::Kind::kCutFrame, offset, reading_.trailing_bytes});
    return true;
}

// Passes over what follows the sound of a RIFF file. -> false when this is none, or no more
bool MpegAudioWalk::skip_riff() {
    if (cursor_.position() != data_end_) return false;
    data_end_ = std::numeric_limits<uint64_t>::max();
    if (riff_end_ > cursor_.position() && riff_end_ != RiffHead::kUnknownEnd)
        reading_.riff_bytes += cursor_.skip(riff_end_ - cursor_.position());
    return true;
}

bool MpegAudioWalk::skip_tag() {
    const auto start = peek(kTagHead);
    if (const uint64_t size = id3v2_size(start); size != 0)
        return skip_whole_tag(AudioTagKind::kId3v2, size);
    if (const uint64_t size = id3v1_size(start); size != 0)
        return skip_whole_tag(AudioTagKind::kId3v1, size);
    if (const uint64_t size = ape_size(start); size != 0)
        return skip_whole_tag(AudioTagKind::kApe, size);
    if (text_of(start).starts_with(kLyricsBegin)) return skip_lyrics();
    return read_ape_item(start) && skip_bare_ape();
}

bool MpegAudioWalk::skip_whole_tag(AudioTagKind kind, uint64_t size) {
    AudioTag tag = {kind, cursor_.position(), 0};
    std::vector<uint8_t> bytes;
    if (listeners_.on_tag) read(std::min<uint64_t>(size, kMostOfTag), bytes);
    tag.size = bytes.size() + skip(size - bytes.size());
    note_tag(tag, bytes);
    return true;
}

// The items of an APEv1 up to its footer. What ends otherwise was none.
bool MpegAudioWalk::skip_bare_ape() {
    const uint64_t offset = cursor_.position();
    std::vector<uint8_t> bytes;
    while (const auto item = read_ape_item(peek(kApeItemHead))) {
        if (bytes.size() > kMostOfTag) break;
        read(item->head_size + item->value_size, bytes);
    }
    const bool whole = is_ape_footer(peek(kApeFooterSize));
    if (whole) {
        read(kApeFooterSize, bytes);
        note_tag({AudioTagKind::kApe, offset, bytes.size()}, bytes);
    } else {
        note_stray(offset);
    }
    return true;
}

// Its length comes last. What has no end was none.
bool MpegAudioWalk::skip_lyrics() {
    const uint64_t offset = cursor_.position();
    skip(std::string_view(kLyricsBegin).size());
    if (skip_lyrics_fields() || skip_lyrics_text())
        note_tag({AudioTagKind::kLyrics3, offset, cursor_.position() - offset}, {});
    else
        note_stray(offset);
    return true;
}

// Of version 2: each a name of three letters and five digits of its length; then six digits of all.
bool MpegAudioWalk::skip_lyrics_fields() {
    constexpr size_t kName = 3, kFieldHead = 8, kEnd = 15, kAllDigits = 6;
    const auto number = [](std::span<const uint8_t> digits) -> std::optional<uint32_t> {
        uint32_t value = 0;
        for (const uint8_t digit : digits) {
            if (digit < '0' || digit > '9') return std::nullopt;
            value = value * 10 + (digit - '0');
        }
        return value;
    };
    for (;;) {
        const auto start = peek(kEnd);
        if (start.size() < kEnd) return false;
        if (number(start.first(kAllDigits)) && text_of(start.subspan(kAllDigits)) == "LYRICS200") {
            skip(kEnd);
            return true;
        }
        const auto name = start.first(kName);
        const auto size = number(start.subspan(kName, kFieldHead - kName));
        if (!size || !std::ranges::all_of(name, [](uint8_t c) { return c >= 'A' && c <= 'Z'; }))
            return false;
        skip(kFieldHead + *size);
    }
}

// Of version 1: at most 5100 bytes, none of them 0xFF.
bool MpegAudioWalk::skip_lyrics_text() {
    constexpr std::string_view kEnd = "LYRICSEND";
    constexpr uint64_t kMostText = 5100;
    for (uint64_t passed = 0; passed <= kMostText;) {
        const auto bytes = peek(Source::kMaxKept);
        const auto text = text_of(bytes.first(find_byte(bytes, kSyncByte, 0)));
        if (const size_t at = text.find(kEnd); at != text.npos) {
            skip(at + kEnd.size());
            return true;
        }
        if (text.size() < Source::kMaxKept) return false;
        passed += skip(text.size() - kEnd.size());
    }
    return false;
}

void MpegAudioWalk::note_tag(const AudioTag& tag, std::span<const uint8_t> bytes) {
    TagCount* const counts[] = {&reading_.id3v1, &reading_.id3v2, &reading_.ape, &reading_.lyrics3};
    TagCount& count = *counts[static_cast<size_t>(tag.kind)];
    ++count.tags;
    count.bytes += tag.size;
    if (listeners_.on_tag) listeners_.on_tag(tag, bytes);
}

// -> where frames begin from `from` on. What may be one is looked at where the bytes begin: there as
//    many follow as can be asked for.
MpegAudioWalk::Place MpegAudioWalk::find_frame(std::span<const uint8_t> bytes, size_t from,
                                               bool ends) {
    for (size_t at = find_byte(bytes, kSyncByte, from); at < bytes.size();
         at = find_byte(bytes, kSyncByte, at + 1)) {
        const auto here = bytes.subspan(at);
        if (here.size() < MpegAudioHeader::kSize && !ends) return {at, false};
        if (!FrameReader::is_header(here)) continue;
        if (at > 0 && !ends) return {at, false};
        const auto head = reader_.read(here);
        if (head && run_of_frames(reader_, here, rule_for(head->header), ends)) return {at, true};
    }
    return {bytes.size(), false};
}

// -> the same for frames and tags
MpegAudioWalk::Place MpegAudioWalk::find_next(std::span<const uint8_t> bytes, size_t from,
                                              bool ends) {
    Place place = find_frame(bytes, from, ends);
    if (!ends) place.offset = std::min(place.offset, bytes.size() - kTagMark);
    const size_t tag = find_tag(bytes, from, place.offset, ends);
    return tag < place.offset ? Place{tag, true} : place;
}

void MpegAudioWalk::skip_stray() {
    const uint64_t offset = cursor_.position();
    last_.reset();
    size_t from = 1;
    for (bool done = false; !done; from = 0) {
        const auto bytes = peek(Source::kMaxKept);
        const bool ends = bytes.size() < Source::kMaxKept;
        const Place place = find_next(bytes, from, ends);
        skip(place.offset);
        done = place.found || ends;
    }
    note_stray(offset);
}

void MpegAudioWalk::note_stray(uint64_t offset) {
    const uint64_t count = cursor_.position() - offset;
    last_.reset();
    reading_.stray_bytes += count;
    reading_.stray.add({offset, count});
    if (listeners_.on_finding)
        listeners_.on_finding({MpegAudioFinding::Kind::kStray, offset, count});
}

}  // namespace zvprobe
