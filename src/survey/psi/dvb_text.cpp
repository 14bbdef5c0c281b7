// SPDX-License-Identifier: MIT
// Decodes texts of broadcast tables. Each table has a function that reads its characters, and all
// characters go through append_character, which knows the control codes.
#include "survey/psi/dvb_text.h"

#include <array>
#include <cstddef>
#include <string_view>

#include "survey/psi/text_tables.h"

namespace zv::survey {
namespace {

using Bytes = std::span<const uint8_t>;
using ReadCharacter = char32_t (*)(Bytes text, std::size_t& at);

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kLineBreak = 0x8A;
constexpr uint8_t kFirstUpper = 0xA0;

// Figure A.1, 0xA0 to 0xFF. The accents 0xC1 to 0xCF stand before their letter.
constexpr std::u16string_view kLatin =
    u"\u00A0¡¢£€¥�§¤‘“«←↑→↓"
    u"°±²³×µ¶·÷’”»¼½¾¿"
    u"�\u0300\u0301\u0302\u0303\u0304\u0306\u0307\u0308�\u030A\u0327�\u030B\u0328\u030C"
    u"—¹®©™♪¬¦����⅛⅜⅝⅞"
    u"\u2126ÆĐªĦ�ĲĿŁØŒºÞŦŊŉ"
    u"ĸæđðħıĳŀłøœßþŧŋ\u00AD";
static_assert(kLatin.size() == kIso8859Size);

// c is no surrogate and not above U+10FFFF.
void append_utf8(std::string& out, char32_t c) {
    constexpr std::array<char32_t, 4> kLead = {0, 0xC0, 0xE0, 0xF0};
    const unsigned more = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    out += static_cast<char>(kLead[more] | c >> 6 * more);
    for (unsigned left = more; left > 0; --left) {
        out += static_cast<char>(0x80 | (c >> 6 * (left - 1) & 0x3F));
    }
}

bool is_control(char32_t c) {
    return c < 0x20 || (c >= 0x7F && c <= 0x9F);
}

void append_character(std::string& out, char32_t c) {
    // Tables of more than one byte have the control codes 0x80 to 0x9F in the private use area.
    const char32_t code = c >= 0xE080 && c <= 0xE09F ? c - 0xE000 : c;
    if (!is_control(code)) {
        append_utf8(out, c);
    } else if (code == kLineBreak) {
        out += ' ';
    }
}

char32_t single_byte(std::u16string_view upper, uint8_t byte) {
    return byte < kFirstUpper ? char32_t{byte} : char32_t{upper[byte - kFirstUpper]};
}

std::string undecodable(std::size_t bytes) {
    std::string out;
    for (std::size_t i = 0; i < bytes; ++i)
        append_utf8(out, kReplacement);
    return out;
}

// Table 00

bool is_accent(char32_t c) {
    return c >= 0x0300 && c <= 0x036F;
}

void append_accented(std::string& out, uint8_t accent, char32_t letter) {
    const std::u16string_view pairs = kCompositions[accent & 0x0Fu];
    for (std::size_t i = 0; i + 1 < pairs.size(); i += 2) {
        if (pairs[i] == letter) {
            append_utf8(out, pairs[i + 1]);
            return;
        }
    }
    append_utf8(out, letter);
    append_utf8(out, single_byte(kLatin, accent));
}

bool takes_accent(char32_t c) {
    return !is_control(c) && !is_accent(c) && c != kReplacement;
}

std::string decode_latin(Bytes text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char32_t c = single_byte(kLatin, text[i]);
        if (!is_accent(c)) {
            append_character(out, c);
            continue;
        }
        const bool last = i + 1 == text.size();
        const char32_t letter = last ? kReplacement : single_byte(kLatin, text[i + 1]);
        if (takes_accent(letter)) {
            append_accented(out, text[i++], letter);
        } else {
            append_utf8(out, kReplacement);
        }
    }
    return out;
}

// ISO/IEC 8859

std::string decode_iso_8859(std::size_t part, Bytes text) {
    if (part >= kIso8859.size() || kIso8859[part].empty()) return undecodable(text.size());
    std::string out;
    for (const uint8_t byte : text)
        append_character(out, single_byte(kIso8859[part], byte));
    return out;
}

// KS X 1001 and GB 2312

bool begins_pair(Bytes text, std::size_t at) {
    return text[at] > kFirstUpper && text[at] < 0xFF && at + 1 < text.size() &&
           text[at + 1] >= 0x80;
}

char32_t read_pair(const TextRows& rows, uint8_t row, uint8_t place) {
    if (row == 0xE0 && place < kFirstUpper) return 0xE000u | place;  // a control code
    if (place <= kFirstUpper) return kReplacement;
    const std::u16string_view characters = rows[row - kFirstUpper - 1u];
    const std::size_t column = place - kFirstUpper - 1u;
    return column < characters.size() ? char32_t{characters[column]} : kReplacement;
}

std::string decode_euc(const TextRows& rows, Bytes text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] < 0x80) {
            append_character(out, text[i]);
        } else if (begins_pair(text, i)) {
            append_character(out, read_pair(rows, text[i], text[i + 1]));
            ++i;
        } else {
            append_utf8(out, kReplacement);
        }
    }
    return out;
}

// UTF-16, of which ISO/IEC 10646 without surrogate pairs is a part

char32_t unit_at(Bytes text, std::size_t at) {
    return static_cast<char32_t>(text[at] << 8 | text[at + 1]);
}

char32_t read_utf16(Bytes text, std::size_t& at) {
    const std::size_t left = text.size() - at;
    if (left < 2) {
        at = text.size();
        return kReplacement;
    }
    const char32_t unit = unit_at(text, at);
    at += 2;
    if (unit < 0xD800 || unit > 0xDFFF) return unit;
    const char32_t low = left < 4 ? 0 : unit_at(text, at);
    if (unit >= 0xDC00 || low < 0xDC00 || low > 0xDFFF) return kReplacement;
    at += 2;
    return 0x10000 + ((unit & 0x3FF) << 10 | (low & 0x3FF));
}

// UTF-8; the second byte's range keeps out overlong forms, surrogates and what is above U+10FFFF

char32_t read_utf8(Bytes text, std::size_t& at) {
    const uint8_t lead = text[at++];
    if (lead < 0x80) return lead;
    if (lead < 0xC2 || lead > 0xF4) return kReplacement;
    int more = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    uint8_t low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    uint8_t high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    char32_t c = lead & (0x3Fu >> more);
    for (; more > 0; --more) {
        if (at == text.size() || text[at] < low || text[at] > high) return kReplacement;
        c = c << 6 | (text[at++] & 0x3Fu);
        low = 0x80;
        high = 0xBF;
    }
    return c;
}

std::string decode_with(ReadCharacter read, Bytes text) {
    std::string out;
    for (std::size_t at = 0; at < text.size();)
        append_character(out, read(text, at));
    return out;
}

Bytes without_first(Bytes bytes, std::size_t count) {
    return count < bytes.size() ? bytes.subspan(count) : Bytes{};
}

// The three bytes 0x10 0x00 n select part n of ISO/IEC 8859.
std::string decode_three_byte_selector(Bytes bytes) {
    const bool known = bytes.size() >= 3 && bytes[1] == 0;
    return decode_iso_8859(known ? bytes[2] : 0u, without_first(bytes, 3));
}

std::string decode_selected(uint8_t selector, Bytes bytes) {
    const Bytes text = without_first(bytes, 1);
    switch (selector) {
        case 0x10:
            return decode_three_byte_selector(bytes);
        case 0x11:
        case 0x14:
            return decode_with(read_utf16, text);
        case 0x12:
            return decode_euc(kKsX1001, text);
        case 0x13:
            return decode_euc(kGb2312, text);
        case 0x15:
            return decode_with(read_utf8, text);
        case 0x1F:  // an encoding_type_id follows; none is known
            return undecodable(without_first(bytes, 2).size());
        default:  // 0x01 to 0x0B are ISO/IEC 8859-5 to 15; there is no 8859-12, others are reserved
            return decode_iso_8859(selector <= 0x0B ? selector + 4u : 0u, text);
    }
}

}  // namespace

std::string decode_dvb_text(Bytes bytes) {
    const uint8_t selector = bytes.empty() ? 0 : bytes[0];
    if (selector == 0 || selector >= 0x20) return decode_latin(bytes);
    return decode_selected(selector, bytes);
}

std::string utf16be_to_utf8(Bytes bytes) {
    std::string out;
    for (std::size_t at = 0; at < bytes.size();) {
        const char32_t c = read_utf16(bytes, at);
        if (c == 0) break;
        if (!is_control(c)) append_utf8(out, c);
    }
    return out;
}

}  // namespace zv::survey
