// SPDX-License-Identifier: MIT
// Builds FLV tags and AMF0 values for tests, honest ones and ones that lie about their size.
#pragma once

#include <bit>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace zvtest {

using Bytes = std::vector<uint8_t>;

inline void append_big_endian(Bytes& to, uint64_t value, int bytes) {
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
        to.push_back(static_cast<uint8_t>(value >> shift));
}

// A script body. Values that take a name are properties of the object or array they stand in.
class Amf {
  public:
    Amf& raw(const Bytes& bytes) {
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
        return *this;
    }
    Amf& key(std::string_view name) { return length(name.size(), 2).text(name); }
    Amf& number(std::string_view name, double value) {
        return key(name).raw({0}).length(std::bit_cast<uint64_t>(value), 8);
    }
    Amf& boolean(std::string_view name, uint8_t value) { return key(name).raw({1, value}); }
    Amf& string(std::string_view value) { return raw({2}).key(value); }
    Amf& string(std::string_view name, std::string_view value) { return key(name).string(value); }
    Amf& long_string(std::string_view name, std::string_view value) {
        return long_string_of(name, value.size()).text(value);
    }
    // Without the text, of which there may be less than claimed.
    Amf& long_string_of(std::string_view name, uint64_t claimed_size) {
        return key(name).raw({12}).length(claimed_size, 4);
    }
    Amf& object() { return raw({3}); }
    Amf& object(std::string_view name) { return key(name).object(); }
    Amf& date(std::string_view name, double ms) {
        return key(name).raw({11}).length(std::bit_cast<uint64_t>(ms), 8).raw({0, 0});
    }
    Amf& ecma_array(uint64_t claimed_count) { return raw({8}).length(claimed_count, 4); }
    Amf& end() { return raw({0, 0, 9}); }

    operator const Bytes&() const { return bytes_; }

  private:
    Amf& length(uint64_t value, int bytes) {
        append_big_endian(bytes_, value, bytes);
        return *this;
    }
    Amf& text(std::string_view text) {
        bytes_.insert(bytes_.end(), text.begin(), text.end());
        return *this;
    }

    Bytes bytes_;
};

// One tag: header, body and size word.
class FlvTag {
  public:
    FlvTag(int type, Bytes body) : type_(type), body_(std::move(body)) {}

    FlvTag& filtered() { return type_ |= 0x20, *this; }
    FlvTag& at(uint32_t ms) {
        stamp_ = ms & 0xFFFFFF;
        return extension_byte(static_cast<uint8_t>(ms >> 24));
    }
    FlvTag& extension_byte(uint8_t value) { return extension_ = value, *this; }
    FlvTag& stream_id(uint32_t value) { return stream_id_ = value, *this; }
    FlvTag& overstate_length_by(int bytes) { return length_lie_ = bytes, *this; }
    FlvTag& misstate_size_word_by(int bytes) { return size_word_lie_ = bytes, *this; }

    operator Bytes() const {
        const auto size = static_cast<int64_t>(body_.size());
        Bytes out{static_cast<uint8_t>(type_)};
        append_big_endian(out, static_cast<uint64_t>(size + length_lie_), 3);
        append_big_endian(out, stamp_, 3);
        out.push_back(extension_);
        append_big_endian(out, stream_id_, 3);
        out.insert(out.end(), body_.begin(), body_.end());
        append_big_endian(out, static_cast<uint64_t>(size + 11 + size_word_lie_), 4);
        return out;
    }

  private:
    int type_;
    Bytes body_;
    uint32_t stamp_ = 0;
    uint8_t extension_ = 0;
    uint32_t stream_id_ = 0;
    int64_t length_lie_ = 0;
    int64_t size_word_lie_ = 0;
};

inline FlvTag audio_tag(Bytes body) {
    return FlvTag(8, std::move(body));
}
inline FlvTag video_tag(Bytes body) {
    return FlvTag(9, std::move(body));
}
inline FlvTag script_tag(Bytes body) {
    return FlvTag(18, std::move(body));
}

}  // namespace zvtest
