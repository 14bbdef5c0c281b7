// SPDX-License-Identifier: MIT
// Implementation of text.h.
#include "text.h"

#include <iconv.h>

#include <algorithm>

namespace fuzz::reference {
namespace {

constexpr const char* kUndecodable = "\xEF\xBF\xBD";  // U+FFFD

std::string utf8(uint32_t code) {
    const auto byte = [](uint32_t value) { return static_cast<char>(value); };
    if (code < 0x80) return {byte(code)};
    if (code < 0x800) return {byte(0xC0 | code >> 6), byte(0x80 | (code & 0x3F))};
    if (code >= 0xD800 && code < 0xE000) return kUndecodable;
    return {byte(0xE0 | code >> 12), byte(0x80 | (code >> 6 & 0x3F)), byte(0x80 | (code & 0x3F))};
}

// One character set of the C library.
class Charset {
  public:
    explicit Charset(const std::string& name) : handle_(iconv_open("UTF-8", name.c_str())) {}
    ~Charset() {
        if (known()) iconv_close(handle_);
    }
    Charset(const Charset&) = delete;
    Charset& operator=(const Charset&) = delete;

    // -> empty when these bytes are no character
    std::string character(Bytes bytes) const {
        if (!known()) return {};
        std::string in(bytes.begin(), bytes.end());
        char out[16];
        char *from = in.data(), *to = out;
        size_t left = in.size(), room = sizeof out;
        iconv(handle_, nullptr, nullptr, nullptr, nullptr);
        if (iconv(handle_, &from, &left, &to, &room) != 0 || left != 0) return {};
        iconv(handle_, nullptr, nullptr, &to, &room);
        return {out, to};
    }

  private:
    bool known() const { return handle_ != reinterpret_cast<iconv_t>(-1); }
    iconv_t handle_;
};

// Two bytes where they are one character, else one: ISO 6937's accents, KS X 1001, GB 2312.
std::string decode(const std::string& charset_name, Bytes text) {
    const Charset charset(charset_name);
    std::string out;
    while (!text.empty()) {
        const uint8_t byte = text[0];
        size_t taken = 1;
        if (byte == 0x8A) {
            out += ' ';
        } else if (charset_name == "ISO_6937" && byte == 0xA4) {
            out += utf8(0x20AC);  // the one place where annex A differs from ISO/IEC 6937
        } else if ((byte >= 0x7F && byte < 0xA0) || byte < 0x20) {
            // other control codes show nothing
        } else {
            std::string found = charset.character(text.first(1));
            for (; found.empty() && taken < 2 && taken < text.size(); ++taken)
                found = charset.character(text.first(2));
            if (found.empty()) taken = 1;
            out += found.empty() ? kUndecodable : found;
        }
        text = text.subspan(taken);
    }
    return out;
}

// Control codes stand at 0x80 to 0x9F and, in tables of more than one byte, at U+E080 to U+E09F.
// A line break becomes a space, all others show nothing.
std::string shown(uint32_t code) {
    const uint32_t low = code >= 0xE080 && code < 0xE0A0 ? code - 0xE000 : code;
    if (low == 0x8A) return " ";
    return low < 0x20 || (low >= 0x7F && low < 0xA0) ? std::string() : utf8(code);
}

std::string code_points(Bytes text) {
    std::string out;
    for (; text.size() >= 2; text = text.subspan(2))
        out += shown(static_cast<uint32_t>(text[0] << 8 | text[1]));
    return text.empty() ? out : out + kUndecodable;
}

// U+0080 to U+009F and U+E080 to U+E09F in UTF-8: their last byte is that of the control code.
bool is_control(Bytes utf8) {
    const bool c1 = utf8.size() == 2 && utf8[0] == 0xC2;
    const bool in_private_area = utf8.size() == 3 && utf8[0] == 0xEE && utf8[1] == 0x82;
    return (c1 || in_private_area) && utf8.back() < 0xA0;
}

std::string from_utf8(Bytes text) {
    const Charset charset("UTF-8");
    std::string out;
    while (!text.empty()) {
        size_t size = 1;
        std::string found;
        for (; size <= std::min<size_t>(4, text.size()); ++size) {
            found = charset.character(text.first(size));
            if (!found.empty()) break;
        }
        if (found.empty()) size = 1;
        if (found.empty()) {
            out += kUndecodable;
        } else if (size == 1) {
            out += shown(text[0]);
        } else {
            out += is_control(text.first(size)) ? shown(text[size - 1]) : found;
        }
        text = text.subspan(size);
    }
    return out;
}

std::string iso8859(unsigned part, Bytes text) {
    if (part == 0 || part > 15 || part == 12) part = 0;  // no such part: nothing is decodable
    return decode("ISO-8859-" + std::to_string(part), text);
}

}  // namespace

std::string dvb_text(Bytes text) {
    if (text.empty()) return {};
    const uint8_t first = text[0];
    if (first >= 0x20) return decode("ISO_6937", text);
    const Bytes rest = text.subspan(1);
    if (first >= 0x01 && first <= 0x0B) return iso8859(first + 4u, rest);
    if (first == 0x10) {
        const size_t header = std::min<size_t>(2, rest.size());
        const unsigned part = header < 2 || rest[0] != 0 ? 0u : rest[1];
        return iso8859(part, rest.subspan(header));
    }
    if (first == 0x11 || first == 0x14) return code_points(rest);
    if (first == 0x12) return decode("EUC-KR", rest);
    if (first == 0x13) return decode("GB2312", rest);
    if (first == 0x15) return from_utf8(rest);
    if (first == 0x1F) return iso8859(0, rest.empty() ? rest : rest.subspan(1));
    return iso8859(0, rest);
}

std::string utf16_text(Bytes text) {
    std::string out;
    for (; text.size() >= 2 && (text[0] | text[1]) != 0; text = text.subspan(2))
        out += shown(static_cast<uint32_t>(text[0] << 8 | text[1]));
    return out;
}

std::string latin1_text(Bytes text) {
    std::string out;
    for (const uint8_t byte : text)
        out += utf8(byte);
    return out;
}

}  // namespace fuzz::reference
