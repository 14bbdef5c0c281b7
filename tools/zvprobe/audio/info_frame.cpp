// SPDX-License-Identifier: MIT
// Implementation of info_frame.h. The mark stands where a frame without CRC would have its sound;
// then come flags for what follows, the counts, a seek table, the quality and an extension.
#include "audio/info_frame.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "audio/frame_crc.h"
#include "base/bytes.h"

namespace zvprobe {
namespace {

constexpr size_t kMark = 4;
constexpr size_t kWord = 4;
constexpr size_t kEncoder = 9;

std::string_view mark_at(std::span<const uint8_t> frame, size_t at) {
    if (frame.size() < at + kMark) return {};
    return {reinterpret_cast<const char*>(frame.data()) + at, kMark};
}

// Reads on in a frame; what lies beyond its end is 0.
class FieldReader {
  public:
    explicit FieldReader(std::span<const uint8_t> bytes) : rest_(bytes) {}

    std::span<const uint8_t> take(size_t count) {
        const auto taken = rest_.first(std::min(count, rest_.size()));
        rest_ = rest_.subspan(taken.size());
        return taken;
    }
    uint32_t word() { return big_endian(take(kWord)); }
    std::span<const uint8_t> rest() const { return rest_; }

  private:
    std::span<const uint8_t> rest_;
};

bool is_printable(uint8_t byte) {
    return byte >= 0x20 && byte <= 0x7E;
}

// Encoders before the extension wrote a longer name, in which other facts would be read.
void read_extension(InfoFrame& info, std::span<const uint8_t> bytes) {
    constexpr int kLatestRevision = 1;
    if (bytes.size() < InfoFrame::kExtension || !is_printable(bytes[0]) ||
        bytes[kEncoder] >> 4 > kLatestRevision)
        return;
    info.extension.assign(bytes.begin(), bytes.begin() + InfoFrame::kExtension);
    for (const uint8_t byte : bytes.first(kEncoder)) {
        if (!is_printable(byte)) break;
        info.encoder += static_cast<char>(byte);
    }
    info.encoder.resize(info.encoder.find_last_not_of(' ') + 1);
    const uint32_t both = big_endian(bytes.subspan(InfoFrame::kDelayAt, 3));
    info.delay = both >> 12;
    info.padding = both & 0xFFF;
}

InfoFrame read_xing(std::string_view mark, std::span<const uint8_t> after_mark) {
    InfoFrame info;
    info.kind = mark;
    FieldReader reader(after_mark);
    const uint32_t flags = reader.word();
    if ((flags & InfoFrame::kHasFrames) != 0) info.frames = reader.word();
    if ((flags & InfoFrame::kHasBytes) != 0) info.bytes = reader.word();
    info.seek_table = (flags & InfoFrame::kHasTable) != 0;
    if (info.seek_table) reader.take(InfoFrame::kTableEntries);
    if ((flags & InfoFrame::kHasQuality) != 0) info.quality = reader.word();
    read_extension(info, reader.rest());
    return info;
}

InfoFrame read_vbri(std::span<const uint8_t> after_mark) {
    constexpr size_t kVersionDelayQuality = 6;
    InfoFrame info;
    info.kind = "VBRI";
    FieldReader reader(after_mark);
    reader.take(kVersionDelayQuality);
    info.bytes = reader.word();
    info.frames = reader.word();
    info.seek_table = big_endian(reader.take(2)) != 0;
    return info;
}

}  // namespace

std::optional<InfoFrame> read_info_frame(const MpegAudioHeader& header,
                                         std::span<const uint8_t> frame) {
    constexpr size_t kVbriAt = MpegAudioHeader::kSize + 32;
    constexpr size_t kCrc = 2;
    if (header.layer != 3) return std::nullopt;
    const size_t side = MpegAudioHeader::kSize + side_info_size(header);
    for (const size_t at : {side, side + (header.crc ? kCrc : 0)})
        if (const auto mark = mark_at(frame, at); mark == "Xing" || mark == "Info")
            return read_xing(mark, frame.subspan(at + kMark));
    if (mark_at(frame, kVbriAt) == "VBRI") return read_vbri(frame.subspan(kVbriAt + kMark));
    return std::nullopt;
}

}  // namespace zvprobe
