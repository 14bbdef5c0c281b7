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

// One member of an object, as it stands in the body.
struct AmfMember {
    std::string key;
    size_t begin;  // of its value in the body, type marker included
    size_t end;
};

struct ScriptData {
    // Enough for cue points, and for the seek index of a long film; what lies beyond is read but not
    // stored.
    static constexpr size_t kMaxValues = 16384;
    static constexpr size_t kMaxIndexValues = 131072;
    static constexpr int kMaxDepth = 16;

    std::string name;  // such as "onMetaData"
    std::vector<AmfValue> values;
    std::vector<AmfMember> members;  // of the first value, those that are whole
    bool complete = true;            // false: damaged, cut off, too deep or too many values
};

// Reads the body of a script tag, in time linear in its size.
// most_values: that are stored
ScriptData read_script_data(std::span<const uint8_t> body,
                            size_t most_values = ScriptData::kMaxValues);

// -> the name alone
std::string script_name(std::span<const uint8_t> body);

}  // namespace zvprobe
