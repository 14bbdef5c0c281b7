// SPDX-License-Identifier: MIT
// Implementation of line.h.
#include "render/screen/line.h"

#include <algorithm>
#include <cmath>
#include <cwchar>
#include <limits>

namespace zvprobe {
namespace {

constexpr size_t kMostCombining = 2;  // on one character: more stand for no letter, only for a mess

bool can_show(wchar_t c) {
    std::mbstate_t state = {};
    char bytes[16];  // of MB_LEN_MAX
    return std::wcrtomb(bytes, c, &state) != static_cast<size_t>(-1) && wcwidth(c) >= 0;
}

// The text is well-formed UTF-8. -> its first character, which is taken off
wchar_t take_character(std::string_view& text) {
    const auto lead = static_cast<unsigned char>(text.front());
    const size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    auto value = static_cast<uint32_t>(length == 1 ? lead : lead & (0x7Fu >> length));
    for (const char c : text.substr(1, length - 1))
        value = value << 6 | (static_cast<unsigned char>(c) & 0x3Fu);
    text.remove_prefix(std::min(length, text.size()));
    return static_cast<wchar_t>(value);
}

size_t width_of(wchar_t c) {
    return static_cast<size_t>(std::max(wcwidth(c), 0));
}

// -> what fits so many cells
std::wstring_view fitting(std::wstring_view text, size_t cells) {
    size_t used = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        used += width_of(text[i]);
        if (used > cells) return text.substr(0, i);
    }
    return text;
}

wchar_t or_ascii(wchar_t wanted, wchar_t ascii) {
    return can_show(wanted) ? wanted : ascii;
}

}  // namespace

std::wstring wide(std::string_view printable_text) {
    std::wstring out;
    size_t combining = 0;
    while (!printable_text.empty()) {
        const wchar_t c = take_character(printable_text);
        const wchar_t shown = can_show(c) ? c : L'?';
        combining = width_of(shown) > 0 ? 0 : combining + 1;
        if (combining <= kMostCombining) out += shown;
    }
    return out;
}

size_t cells_of(std::wstring_view text) {
    size_t cells = 0;
    for (const wchar_t c : text)
        cells += width_of(c);
    return cells;
}

std::wstring cut(std::wstring_view text, size_t cells) {
    if (cells_of(text) <= cells) return std::wstring(text);
    if (cells == 0) return {};
    return std::wstring(fitting(text, cells - 1)) + or_ascii(L'\u2026', L'~');
}

Line& Line::add(std::wstring_view text, Look look) {
    std::wstring shown = cut(text, left_);
    left_ -= cells_of(shown);
    if (!shown.empty()) pieces_.push_back({std::move(shown), look});
    return *this;
}

Line& Line::left(std::string_view text, size_t cells, Look look) {
    const std::wstring shown = cut(wide(text), cells);
    return add(shown, look).add(std::wstring(cells - cells_of(shown) + 1, L' '));
}

Line& Line::right(std::string_view text, size_t cells, Look look) {
    const std::wstring shown = cut(wide(text), cells);
    return add(std::wstring(cells - cells_of(shown), L' ')).add(shown, look).add(" ");
}

Line& Line::at_end(std::string_view text, Look look) {
    const std::wstring shown = wide(text);
    const size_t cells = cells_of(shown);
    if (cells > left_) return *this;
    return add(std::wstring(left_ - cells, L' '), look).add(shown, look);
}

// In eighths of a cell where the locale has such blocks.
Line& Line::bar(double share, size_t cells) {
    constexpr wchar_t kFull = L'\u2588';
    const double filled = std::clamp(share, 0.0, 1.0) * static_cast<double>(cells);
    std::wstring text(static_cast<size_t>(filled), or_ascii(kFull, L'#'));
    const auto eighths = static_cast<wchar_t>((filled - std::floor(filled)) * 8);
    if (can_show(kFull) && eighths > 0) text += static_cast<wchar_t>(kFull + 8 - eighths);
    const size_t rest = cells - std::min(cells, text.size());
    return add(text, Look::kBar).add(std::wstring(rest + 1, L' '));
}

}  // namespace zvprobe
