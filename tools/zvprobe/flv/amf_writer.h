// SPDX-License-Identifier: MIT
// Writes named AMF0 values, one after the other.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace zvprobe {

class AmfWriter {
  public:
    void text(std::string_view value);  // without a name; at most 65535 bytes
    void begin_array(uint32_t count);   // an ECMA array of so many members, without a name
    void begin_object(std::string_view name);
    void end();  // of an array or object

    void number(std::string_view name, double value);
    void boolean(std::string_view name, bool value);
    void numbers(std::string_view name, std::span<const double> values);  // a strict array
    void raw(std::string_view name, std::span<const uint8_t> value);      // type marker included
    void append(std::span<const uint8_t> members);                        // as another has written

    const std::vector<uint8_t>& bytes() const { return bytes_; }

  private:
    void name(std::string_view text);
    void number(double value);

    std::vector<uint8_t> bytes_;
};

}  // namespace zvprobe
