// SPDX-License-Identifier: MIT
// Implementation of tag_texts.h: ID3v2.2 to 2.4 (id3.org), APE items, the fields of ID3v1.
#include "audio/tag_texts.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include "base/bytes.h"
#include "survey/psi/dvb_text.h"

namespace zvprobe {
namespace {

using Bytes = std::span<const uint8_t>;

constexpr uint8_t kUnsynchronised = 0x80;  // of an ID3v2 header

std::string_view view_of(Bytes bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::string from_latin1(Bytes bytes) {
    std::string out;
    for (const uint8_t byte : bytes) {
        if (byte == 0) break;
        if (byte < 0x80) {
            out += static_cast<char>(byte);
        } else {
            out += static_cast<char>(0xC0 | byte >> 6);
            out += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return out;
}

std::string from_utf16(Bytes bytes, bool little) {
    std::vector<uint8_t> big(bytes.begin(), bytes.end());
    if (little)
        for (size_t i = 0; i + 1 < big.size(); i += 2)
            std::swap(big[i], big[i + 1]);
    return zv::survey::utf16be_to_utf8(big);
}

std::string until_zero(Bytes bytes) {
    return std::string(view_of(bytes.first(find_byte(bytes, 0, 0))));
}

// Spaces at the end fill fields of fixed size.
std::string trimmed(std::string text) {
    text.resize(text.find_last_not_of(' ') + 1);
    return text;
}

// A text of an ID3v2 frame: its encoding, then up to a zero or the end.
std::string id3v2_text(Bytes body) {
    if (body.empty()) return {};
    const Bytes text = body.subspan(1);
    switch (body[0]) {
        case 0:
            return from_latin1(text);
        case 1:
            if (text.size() < 2) return {};
            return from_utf16(text.subspan(2), text[0] == 0xFF);
        case 2:
            return from_utf16(text, false);
        case 3:
            return until_zero(text);
        default:
            return {};
    }
}

// Undoes unsynchronisation, which puts a zero after each 0xFF.
std::vector<uint8_t> synchronised(Bytes bytes) {
    std::vector<uint8_t> out;
    out.reserve(bytes.size());
    for (size_t i = 0; i < bytes.size(); ++i) {
        out.push_back(bytes[i]);
        if (bytes[i] == 0xFF && i + 1 < bytes.size() && bytes[i + 1] == 0) ++i;
    }
    return out;
}

uint32_t syncsafe(Bytes bytes) {
    uint32_t value = 0;
    for (const uint8_t byte : bytes)
        value = value << 7 | (byte & 0x7F);
    return value;
}

std::string* member_of(TagTexts& texts, std::string_view key) {
    if (key == "TIT2" || key == "TT2") return &texts.title;
    if (key == "TPE1" || key == "TP1") return &texts.artist;
    if (key == "TALB" || key == "TAL") return &texts.album;
    return nullptr;
}

// The frames of an ID3v2 tag of one version.
class Id3v2Reader {
  public:
    explicit Id3v2Reader(int version) : version_(version) {}

    TagTexts read(Bytes rest) {
        const size_t head = version_ == 2 ? 6 : 10;
        const size_t key = version_ == 2 ? 3 : 4;
        while (rest.size() >= head && rest[0] != 0) {  // zeros pad the tag
            const size_t size = size_of(rest.subspan(key));
            const Bytes body = rest.subspan(head, std::min(size, rest.size() - head));
            if (std::string* const text = member_of(texts_, view_of(rest.first(key)));
                text != nullptr && text->empty() && body.size() == size)
                *text = text_of(body, rest);
            rest = rest.subspan(head + body.size());
        }
        return std::move(texts_);
    }

  private:
    size_t size_of(Bytes field) const {
        if (version_ == 2) return big_endian(field.first(3));
        return version_ == 3 ? big_endian(field.first(4)) : syncsafe(field.first(4));
    }

    // Frames of version 4 have flags of their own for it, and may repeat their length in front.
    std::string text_of(Bytes body, Bytes frame) const {
        constexpr uint8_t kHasLength = 1, kFrameUnsynchronised = 2, kCoded = 0x0C;
        constexpr size_t kLength = 4;
        if (version_ != 4) return id3v2_text(body);
        const uint8_t flags = frame[9];
        if ((flags & kCoded) != 0) return {};  // compressed or encrypted
        if ((flags & kHasLength) != 0) body = body.subspan(std::min(kLength, body.size()));
        if ((flags & kFrameUnsynchronised) == 0) return id3v2_text(body);
        return id3v2_text(synchronised(body));
    }

    int version_;
    TagTexts texts_;
};

TagTexts read_id3v2(Bytes tag) {
    constexpr size_t kHeader = 10;
    constexpr uint8_t kExtended = 0x40;
    const int version = tag[3];
    if (version < 2 || version > 4) return {};
    const uint64_t end = kHeader + syncsafe(tag.subspan(6, 4));
    Bytes body = tag.first(static_cast<size_t>(std::min<uint64_t>(tag.size(), end)));
    body = body.subspan(kHeader);
    std::vector<uint8_t> plain;
    if (version < 4 && (tag[5] & kUnsynchronised) != 0) body = plain = synchronised(body);
    if (version > 2 && (tag[5] & kExtended) != 0) {
        if (body.size() < 4) return {};
        const size_t size =
            version == 3 ? big_endian(body.first(4)) + size_t{4} : syncsafe(body.first(4));
        body = body.subspan(std::min(size, body.size()));
    }
    return Id3v2Reader(version).read(body);
}

bool same_key(std::string_view key, std::string_view lower) {
    return std::ranges::equal(
        key, lower, [](char a, char b) { return (a >= 'A' && a <= 'Z' ? a + 32 : a) == b; });
}

TagTexts read_ape(Bytes tag) {
    TagTexts texts;
    Bytes rest = ape_size(tag) != 0 ? tag.subspan(kApeFooterSize) : tag;
    const std::array<std::pair<std::string_view, std::string*>, 3> members = {
        {{"title", &texts.title}, {"artist", &texts.artist}, {"album", &texts.album}}};
    while (const auto item = is_ape_footer(rest) ? std::nullopt : read_ape_item(rest)) {
        if (rest.size() < item->head_size + item->value_size) break;
        const std::string_view key = view_of(rest.subspan(8, item->head_size - 9));
        for (const auto& [name, text] : members)
            if (same_key(key, name) && text->empty())
                *text = until_zero(rest.subspan(item->head_size, item->value_size));
        rest = rest.subspan(item->head_size + item->value_size);
    }
    return texts;
}

TagTexts read_id3v1(Bytes tag) {
    constexpr size_t kSize = 128, kField = 30;
    if (tag.size() < kSize) return {};
    const Bytes last = tag.last(kSize);
    const auto field = [&](size_t at) { return trimmed(from_latin1(last.subspan(at, kField))); };
    return {field(3), field(33), field(63)};
}

}  // namespace

void TagTexts::fill_from(const TagTexts& other) {
    for (const auto member : {&TagTexts::title, &TagTexts::artist, &TagTexts::album})
        if ((this->*member).empty()) this->*member = other.*member;
}

TagTexts read_tag_texts(AudioTagKind kind, std::span<const uint8_t> tag) {
    switch (kind) {
        case AudioTagKind::kId3v1:
            return read_id3v1(tag);
        case AudioTagKind::kId3v2:
            return read_id3v2(tag);
        case AudioTagKind::kApe:
            return read_ape(tag);
        case AudioTagKind::kLyrics3:
            break;
    }
    return {};
}

}  // namespace zvprobe
