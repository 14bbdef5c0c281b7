// SPDX-License-Identifier: MIT
// The values in an FLV script tag (Action Message Format 0), as a tree. What a value means is left
// to others.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zvprobe {

struct AmfValue {
    enum class Type { kNumber, kBoolean, kText, kObject, kArray, kDate, kNothing };

    Type type = Type::kNothing;     // null, undefined, and what carries no value of its own
    double number = 0;              // number; boolean as 0 or 1; date in ms since 1970
    std::string text;               // text
    std::vector<std::string> keys;  // object: the names of its items
    std::vector<AmfValue> items;    // object, array

    // -> the item of that name, null when there is none
    const AmfValue* find(std::string_view key) const;
};

struct ScriptData {
    // Enough for the seek index of a film; what lies beyond is read but not stored.
    static constexpr size_t kMaxValues = 16384;
    static constexpr int kMaxDepth = 16;

    std::string name;  // such as "onMetaData"
    std::vector<AmfValue> values;
    bool complete = true;  // false: damaged, cut off, too deep or too many values
};

// Reads the body of a script tag, in time linear in its size.
ScriptData read_script_data(std::span<const uint8_t> body);

}  // namespace zvprobe
