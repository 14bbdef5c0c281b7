// SPDX-License-Identifier: MIT
// Implementation of info_frame_maker.h.
#include "audio/info_frame_maker.h"

#include <algorithm>
#include <string_view>

#include "audio/frame_crc.h"

namespace zvprobe {
namespace {

constexpr size_t kMark = 4;
constexpr size_t kWord = 4;
constexpr uint64_t kMostWord = 0xFFFFFFFF;

void put_number(std::span<uint8_t> at, uint64_t value, size_t size) {
    for (size_t i = 0; i < size; ++i)
        at[i] = static_cast<uint8_t>(value >> 8 * (size - 1 - i));
}

class FrameWriter {
  public:
    FrameWriter(std::span<uint8_t> frame, size_t at) : frame_(frame), at_(at) {}

    void put(std::span<const uint8_t> bytes) {
        std::ranges::copy(bytes, frame_.subspan(at_).begin());
        at_ += bytes.size();
    }
    void put(std::string_view text) {
        put({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
    }
    void put(uint32_t value) {
        put_number(frame_.subspan(at_), value, kWord);
        at_ += kWord;
    }
    size_t position() const { return at_; }

  private:
    std::span<uint8_t> frame_;
    size_t at_;
};

// Beside the header: the empty side information, and room for all that an info frame can have.
size_t room_needed(const MpegAudioHeader& header) {
    return MpegAudioHeader::kSize + side_info_size(header) + kMark + 4 * kWord +
           InfoFrame::kTableEntries + InfoFrame::kExtension;
}

// What the old extension says stays, but for what is another now.
void fill_extension(std::span<uint8_t> frame, size_t at, const InfoFacts& facts, uint64_t bytes) {
    const auto extension = frame.subspan(at, InfoFrame::kExtension);
    const uint32_t padding = facts.same_end ? facts.old->padding : 0;
    std::ranges::copy(facts.old->extension, extension.begin());
    put_number(extension.subspan(InfoFrame::kDelayAt), facts.old->delay << 12 | padding, 3);
    put_number(extension.subspan(InfoFrame::kLengthAt), std::min(bytes, kMostWord), kWord);
    put_number(extension.subspan(InfoFrame::kSoundCrcAt), facts.sound_crc, 2);
    InfoCrc own;
    own.take(frame.first(at + InfoFrame::kOwnCrcAt));
    put_number(extension.subspan(InfoFrame::kOwnCrcAt), own.value(), 2);
}

// As its neighbour's, without CRC and padding: at a free bit rate, at that one's bit rate where all
// have the same and there is room, or at the least with enough.
std::array<uint8_t, MpegAudioHeader::kSize> make_header(const InfoFacts& facts) {
    constexpr std::array<uint8_t, 3> kVersionBits = {3, 2, 0};
    constexpr uint8_t kLeast = 0x10, kStep = 0x10, kMost = 0xE0, kRateMask = 0x0C;
    const MpegAudioHeader& like = facts.like.header;
    const uint8_t version = kVersionBits[static_cast<size_t>(like.version)];
    std::array<uint8_t, MpegAudioHeader::kSize> bytes = {
        0xFF, static_cast<uint8_t>(0xE3 | version << 3), 0,
        static_cast<uint8_t>(facts.header_end[1] & 0xCF)};
    const auto rate = static_cast<uint8_t>(facts.header_end[0] & kRateMask);
    bytes[2] = rate;
    if (facts.like.free) return bytes;
    bool done = false;
    for (uint32_t bits = kLeast; bits <= kMost && !done; bits += kStep) {
        bytes[2] = static_cast<uint8_t>(bits | rate);
        const auto header = zv::survey::parse_mpeg_audio_header(bytes);
        if (header->frame_size() < room_needed(like)) continue;
        done = facts.variable || header->bitrate >= like.bitrate;
    }
    return bytes;
}

}  // namespace

void SeekTable::add(size_t size) {
    if (frames_ % step_ == 0) points_.push_back(bytes_);
    ++frames_;
    bytes_ += size;
    if (points_.size() < kMostPoints) return;
    for (size_t i = 0; i < kMostPoints / 2; ++i)
        points_[i] = points_[2 * i];
    points_.resize(kMostPoints / 2);
    step_ *= 2;
}

std::vector<uint8_t> SeekTable::entries(uint64_t before) const {
    constexpr uint64_t kMost = 255;
    std::vector<uint8_t> out;
    for (size_t i = 0; i < InfoFrame::kTableEntries; ++i) {
        const uint64_t point = frames_ * i / InfoFrame::kTableEntries / step_;
        const uint64_t at = points_.empty() ? 0 : before + points_[static_cast<size_t>(point)];
        const uint64_t share = bytes_ == 0 ? 0 : at * 256 / (before + bytes_);
        out.push_back(static_cast<uint8_t>(std::min(share, kMost)));
    }
    return out;
}

size_t info_frame_size(const InfoFacts& facts) {
    const MpegAudioHeader& like = facts.like.header;
    if (like.layer != 3) return 0;
    if (!facts.like.free)
        return zv::survey::parse_mpeg_audio_header(make_header(facts))->frame_size();
    const size_t size = facts.like.size - (like.padding ? 1 : 0);
    return size >= room_needed(like) ? size : 0;
}

std::vector<uint8_t> make_info_frame(const InfoFacts& facts, const SeekTable& table) {
    std::vector<uint8_t> frame(info_frame_size(facts));
    std::ranges::copy(make_header(facts), frame.begin());
    FrameWriter writer(frame, MpegAudioHeader::kSize + side_info_size(facts.like.header));
    const uint64_t bytes = table.bytes() + frame.size();
    const bool fits = bytes <= kMostWord && table.frames() <= kMostWord;
    const bool has_quality = facts.old != nullptr && facts.old->quality;
    writer.put(facts.variable ? "Xing" : "Info");
    writer.put((fits ? InfoFrame::kHasFrames | InfoFrame::kHasBytes : 0) | InfoFrame::kHasTable |
               (has_quality ? InfoFrame::kHasQuality : 0));
    if (fits) {
        writer.put(static_cast<uint32_t>(table.frames()));
        writer.put(static_cast<uint32_t>(bytes));
    }
    writer.put(table.entries(frame.size()));
    if (has_quality) writer.put(*facts.old->quality);
    if (facts.old != nullptr && !facts.old->extension.empty())
        fill_extension(frame, writer.position(), facts, bytes);
    return frame;
}

}  // namespace zvprobe
