// SPDX-License-Identifier: MIT
// Splice information sections (ANSI/SCTE 35): the commands that announce a splice, as a record and
// as a line of text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace zv::survey {

struct SpliceCommand {
    enum class Type : uint8_t { kInsert, kTimeSignal };
    Type type = Type::kInsert;
    std::optional<uint32_t> event_id;  // of splice_insert, or of the first segmentation
    bool cancel = false;               // the event is taken back
    bool out_of_network = false;       // splice_insert: the break begins
    bool immediate = false;            // no time: at once
    std::optional<uint64_t> pts;       // 90 kHz, pts_adjustment added
    std::optional<uint64_t> duration;  // 90 kHz
    bool auto_return = false;
    std::optional<uint8_t> segmentation_type_id;  // of the first segmentation descriptor
};

// section: from table_id on, its CRC already checked by the caller.
// -> nothing for other commands, and where the section is encrypted or cut off
std::optional<SpliceCommand> read_splice_command(std::span<const uint8_t> section);

// One line: "splice_insert 7: out of network at 20345.123 s for 60.000 s, auto return".
// out    out  terminated text, cut to the room
// -> length of the text
size_t describe_splice(const SpliceCommand& command, std::span<char> out);

// -> "Provider Placement Opportunity Start"; nullptr for a type without a name
const char* segmentation_type_name(uint8_t segmentation_type_id);

}  // namespace zv::survey
