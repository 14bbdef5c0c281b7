// SPDX-License-Identifier: MIT
// Implementation of riff_head.h.
#include "audio/riff_head.h"

#include <algorithm>
#include <string_view>

#include "base/bytes.h"

namespace zvprobe {
namespace {

constexpr size_t kChunkHead = 8;
constexpr size_t kSearched = 4096;

std::string_view text_at(std::span<const uint8_t> bytes, size_t at) {
    constexpr size_t kMark = 4;
    if (bytes.size() < at + kMark) return {};
    return {reinterpret_cast<const char*>(bytes.data()) + at, kMark};
}

bool is_mpeg_format(std::span<const uint8_t> chunk) {
    constexpr uint32_t kMpeg = 0x50, kMpegLayer3 = 0x55;
    if (chunk.size() < kChunkHead + 2) return false;
    const uint32_t tag = little_endian(chunk.subspan(kChunkHead, 2));
    return tag == kMpeg || tag == kMpegLayer3;
}

uint64_t end_of(uint64_t begin, uint32_t size) {
    const bool told = size != 0 && size != 0xFFFFFFFF;
    return told ? begin + size : RiffHead::kUnknownEnd;
}

}  // namespace

std::optional<RiffHead> read_riff_head(std::span<const uint8_t> bytes) {
    constexpr size_t kRiffHead = 12;
    const auto view = bytes.first(std::min(bytes.size(), kSearched));
    if (text_at(view, 0) != "RIFF") return std::nullopt;
    bool right = text_at(view, 8) == "RMP3";
    if (!right && text_at(view, 8) != "WAVE") return std::nullopt;
    for (size_t at = kRiffHead; at + kChunkHead <= view.size();) {
        const uint32_t size = little_endian(view.subspan(at + 4, 4));
        if (text_at(view, at) == "data") {
            if (!right) return std::nullopt;
            const uint64_t begin = at + kChunkHead;
            return RiffHead{begin, end_of(begin, size),
                            end_of(kChunkHead, little_endian(view.subspan(4, 4)))};
        }
        if (text_at(view, at) == "fmt ") right = is_mpeg_format(view.subspan(at));
        if (size > view.size()) return std::nullopt;
        at += kChunkHead + size + (size & 1);
    }
    return std::nullopt;
}

bool is_other_container(std::span<const uint8_t> bytes) {
    using std::literals::string_view_literals::operator""sv;
    for (const std::string_view mark : {"\x1A\x45\xDF\xA3"sv, "\0\0\1\xBA"sv, "\x30\x26\xB2\x75"sv})
        if (text_at(bytes, 0) == mark) return true;  // Matroska, programme stream, ASF
    if (text_at(bytes, 4) == "ftyp") return true;    // ISO base media
    return text_at(bytes, 0) == "RIFF" && !text_at(bytes, 8).empty() && !read_riff_head(bytes);
}

}  // namespace zvprobe
