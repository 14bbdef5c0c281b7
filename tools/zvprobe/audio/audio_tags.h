// SPDX-License-Identifier: MIT
// Tags that stand beside MPEG audio: ID3v1 and ID3v2, APEv1 and APEv2, Lyrics3. How one is
// recognised, and how long it is; tag_texts.h reads what it says.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace zvprobe {

enum class AudioTagKind { kId3v1, kId3v2, kApe, kLyrics3 };

struct AudioTag {
    AudioTagKind kind;
    uint64_t offset;
    uint64_t size;
};

// -> bytes of the tag that begins there; 0 when there is none
size_t id3v1_size(std::span<const uint8_t> bytes);    // the enhanced one ("TAG+") in front included
uint64_t id3v2_size(std::span<const uint8_t> bytes);  // footer included
uint64_t ape_size(
    std::span<const uint8_t> bytes);  // of one with a header; items and footer included
// The same for an ID3v2 or APE tag among junk, which may spell "ID3" by accident.
uint64_t sure_tag_size(std::span<const uint8_t> bytes);

// What an APE tag is made of. APEv1 has no header: its items stand bare before the footer.
struct ApeItem {
    size_t head_size;     // bytes before the value
    uint32_t value_size;  // bytes
};
constexpr size_t kApeItemHead = 8 + 256;  // at most
constexpr size_t kApeFooterSize = 32;
std::optional<ApeItem> read_ape_item(std::span<const uint8_t> bytes);
bool is_ape_footer(std::span<const uint8_t> bytes);

constexpr char kLyricsBegin[] = "LYRICSBEGIN";

// Does a tag begin there? True for the bare items of an APEv1, too.
bool is_tag(std::span<const uint8_t> bytes);

// -> where a tag begins that tells itself among bytes that are nothing else, from `from` on and
//    before `limit`; `limit` when none does. Looks at kTagMark bytes from there on, too.
// ends  true when the source ends where the bytes do; ID3v1 is known by that alone
constexpr size_t kTagMark = 31;
size_t find_tag(std::span<const uint8_t> bytes, size_t from, size_t limit, bool ends);

}  // namespace zvprobe
