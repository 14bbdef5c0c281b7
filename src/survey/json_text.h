// SPDX-License-Identifier: MIT
// A JSON value as its text, put together from the inside out. The document tree of
// a JSON library would not do: its destructor allocates, and so ends the host when memory is short.
#pragma once

#include <charconv>
#include <cmath>
#include <concepts>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zv::survey {

class Json {
  public:
    using Member = std::pair<const char*, Json>;

    Json() : text_("null") {}
    Json(std::nullptr_t) : Json() {}
    Json(std::same_as<bool> auto value) : text_(value ? "true" : "false") {}
    template <std::integral T>
    requires(!std::same_as<T, bool>) Json(T value) : text_(std::to_string(value)) {}
    // As short as it can be read back; null when there is none.
    Json(double value) : Json() {
        if (!std::isfinite(value)) return;
        const double size = std::abs(value);
        const bool plain = size == 0 || (size >= 1e-4 && size < 1e15);
        const auto format = plain ? std::chars_format::fixed : std::chars_format::scientific;
        char digits[32];
        const auto end = std::to_chars(digits, digits + sizeof digits, value, format).ptr;
        text_.assign(digits, end);
        if (text_.find_first_of(".e") == std::string::npos) text_ += ".0";
    }
    // UTF-8
    Json(std::string_view text) { append_quoted(text); }
    Json(const std::string& text) : Json(std::string_view(text)) {}
    Json(const char* text) : Json(std::string_view(text)) {}
    // An object.
    Json(std::initializer_list<Member> members) : text_("{") {
        for (const auto& [name, value] : members) {
            if (text_.size() > 1) text_ += ',';
            append_quoted(name);
            text_ += ':';
            text_ += value.text_;
        }
        text_ += '}';
    }
    template <typename T>
    Json(const std::vector<T>& values) : text_("[]") {
        for (const T& value : values)
            push_back(value);
    }

    static Json array() { return Json(std::vector<int>()); }
    void push_back(const Json& value) {
        text_.pop_back();
        if (text_ != "[") text_ += ',';
        text_ += value.text_;
        text_ += ']';
    }

    // Adds a member to an object that has others.
    void add(const char* name, const Json& value) {
        text_.pop_back();
        text_ += ',';
        append_quoted(name);
        text_ += ':';
        text_ += value.text_;
        text_ += '}';
    }

    const std::string& text() const { return text_; }

  private:
    void append_quoted(std::string_view text);

    std::string text_;
};

inline void Json::append_quoted(std::string_view text) {
    constexpr char kDigits[] = "0123456789abcdef";
    text_ += '"';
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            text_ += '\\';
            text_ += c;
        } else if (byte < 0x20) {
            text_ += "\\u00";
            text_ += kDigits[byte >> 4];
            text_ += kDigits[byte & 15];
        } else {
            text_ += c;
        }
    }
    text_ += '"';
}

}  // namespace zv::survey
