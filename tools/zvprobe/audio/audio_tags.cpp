// SPDX-License-Identifier: MIT
// Implementation of audio_tags.h.
#include "audio/audio_tags.h"

#include <algorithm>
#include <string_view>

#include "base/bytes.h"

namespace zvprobe {
namespace {

constexpr size_t kId3v1Size = 128;
constexpr size_t kEnhancedSize = 227;
constexpr size_t kId3v2HeaderSize = 10;
constexpr char kApeMark[] = "APETAGEX";
constexpr uint32_t kApeIsHeader = 1U << 29;
constexpr uint32_t kApeHasNoFooter = 1U << 30;

std::string_view text_of(std::span<const uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// -> flags of the APE header or footer; nothing when there is neither
std::optional<uint32_t> ape_flags(std::span<const uint8_t> bytes) {
    if (bytes.size() < kApeFooterSize || !text_of(bytes).starts_with(kApeMark)) return std::nullopt;
    const uint32_t version = little_endian(bytes.subspan(8, 4));
    if (version != 1000 && version != 2000) return std::nullopt;
    return little_endian(bytes.subspan(20, 4));
}

// Junk may spell "ID3" by accident, so more of the header must be right there.
bool is_sure_id3v2(std::span<const uint8_t> bytes) {
    return id3v2_size(bytes) != 0 && bytes[3] >= 2 && bytes[3] <= 4 && (bytes[5] & 0x0F) == 0;
}

template <typename Check>
size_t find_mark(std::span<const uint8_t> bytes, size_t from, std::string_view mark, Check check) {
    const std::string_view text = text_of(bytes);
    for (size_t at = text.find(mark, from); at != text.npos; at = text.find(mark, at + 1))
        if (check(bytes.subspan(at))) return at;
    return bytes.size();
}

}  // namespace

size_t id3v1_size(std::span<const uint8_t> bytes) {
    const std::string_view text = text_of(bytes);
    if (bytes.size() < kId3v1Size || !text.starts_with("TAG")) return 0;
    const bool enhanced = text.starts_with("TAG+") && bytes.size() >= kEnhancedSize + kId3v1Size &&
                          text.substr(kEnhancedSize).starts_with("TAG");
    return kId3v1Size + (enhanced ? kEnhancedSize : 0);
}

uint64_t id3v2_size(std::span<const uint8_t> bytes) {
    constexpr uint8_t kFooter = 0x10;
    if (bytes.size() < kId3v2HeaderSize || !text_of(bytes).starts_with("ID3")) return 0;
    if (bytes[3] == 0xFF || bytes[4] == 0xFF) return 0;
    uint64_t size = 0;
    for (const uint8_t byte : bytes.subspan(6, 4)) {
        if (byte >= 0x80) return 0;
        size = size << 7 | byte;
    }
    return kId3v2HeaderSize + size + ((bytes[5] & kFooter) != 0 ? kId3v2HeaderSize : 0);
}

uint64_t ape_size(std::span<const uint8_t> bytes) {
    const auto flags = ape_flags(bytes);
    if (!flags || (*flags & kApeIsHeader) == 0) return 0;
    const uint64_t after_header = little_endian(bytes.subspan(12, 4));
    const bool has_footer = (*flags & kApeHasNoFooter) == 0;
    return has_footer && after_header < kApeFooterSize ? 0 : kApeFooterSize + after_header;
}

uint64_t sure_tag_size(std::span<const uint8_t> bytes) {
    return is_sure_id3v2(bytes) ? id3v2_size(bytes) : ape_size(bytes);
}

bool is_ape_footer(std::span<const uint8_t> bytes) {
    const auto flags = ape_flags(bytes);
    return flags && (*flags & kApeIsHeader) == 0;
}

std::optional<ApeItem> read_ape_item(std::span<const uint8_t> bytes) {
    constexpr size_t kNumbers = 8;  // size of the value, flags
    constexpr size_t kShortestKey = 2;
    constexpr uint32_t kKnownFlags = 0xE0000007;
    constexpr uint32_t kMostValue = 1U << 20;
    if (bytes.size() < kNumbers) return std::nullopt;
    const uint32_t size = little_endian(bytes.first(4));
    if (size > kMostValue || (little_endian(bytes.subspan(4, 4)) & ~kKnownFlags) != 0)
        return std::nullopt;
    const auto rest = bytes.subspan(kNumbers, std::min(bytes.size(), kApeItemHead) - kNumbers);
    const auto end =
        std::ranges::find_if(rest, [](uint8_t byte) { return byte < 0x20 || byte > 0x7E; });
    const auto key_size = static_cast<size_t>(end - rest.begin());
    if (end == rest.end() || *end != 0 || key_size < kShortestKey) return std::nullopt;
    return ApeItem{kNumbers + key_size + 1, size};
}

bool is_tag(std::span<const uint8_t> bytes) {
    return id3v1_size(bytes) != 0 || id3v2_size(bytes) != 0 || ape_size(bytes) != 0 ||
           text_of(bytes).starts_with(kLyricsBegin) || read_ape_item(bytes);
}

size_t find_tag(std::span<const uint8_t> bytes, size_t from, size_t limit, bool ends) {
    const auto sure = [](std::span<const uint8_t>) { return true; };
    const auto ape = [](std::span<const uint8_t> at) { return ape_size(at) != 0; };
    const auto view = bytes.first(std::min(bytes.size(), limit + kTagMark));
    size_t found = std::min({limit, find_mark(view, from, kApeMark, ape),
                             find_mark(view, from, kLyricsBegin, sure),
                             find_mark(view, from, "ID3", is_sure_id3v2)});
    if (!ends || bytes.size() < from + kId3v1Size) return found;
    const size_t last = bytes.size() - kId3v1Size;
    return id3v1_size(bytes.subspan(last)) != 0 ? std::min(found, last) : found;
}

}  // namespace zvprobe
