// SPDX-License-Identifier: MIT
// Implementation of scte35.h. Members are read under their names in the standard.
#include "survey/codecs/scte35.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include "bitStream/big_endian.h"
#include "survey/codecs/bit_reader.h"
#include "survey/codecs/descriptors.h"

namespace zv::survey {
namespace {

constexpr uint8_t kTableId = 0xFC;
constexpr uint32_t kSpliceInsert = 5;
constexpr uint32_t kTimeSignal = 6;
constexpr uint64_t kPtsMask = (uint64_t{1} << 33) - 1;
constexpr size_t kCrc = 4;        // bytes
constexpr double kTicks = 90000;  // a second

std::optional<uint64_t> read_splice_time(BitReader& reader) {
    if (!reader.flag()) {  // time_specified_flag
        reader.skip(7);
        return std::nullopt;
    }
    reader.skip(6);
    return reader.long_bits(33);
}

void read_break_duration(BitReader& reader, SpliceCommand& command) {
    command.auto_return = reader.flag();
    reader.skip(6);
    command.duration = reader.long_bits(33);
}

void read_insert(BitReader& reader, SpliceCommand& command) {
    command.event_id = reader.bits(32);
    command.cancel = reader.flag();
    reader.skip(7);
    if (command.cancel) return;
    command.out_of_network = reader.flag();
    const bool program_splice = reader.flag();
    const bool has_duration = reader.flag();
    command.immediate = reader.flag();
    reader.skip(4);
    if (program_splice && !command.immediate) command.pts = read_splice_time(reader);
    const uint32_t components = program_splice ? 0 : reader.bits(8);
    for (uint32_t i = 0; i < components && !reader.overrun(); ++i) {
        reader.skip(8);  // component_tag
        if (command.immediate) continue;
        const auto pts = read_splice_time(reader);
        if (!command.pts) command.pts = pts;
    }
    if (has_duration) read_break_duration(reader, command);
    reader.skip(16 + 8 + 8);  // unique_program_id, avail_num, avails_expected
}

// body: after the length of the descriptor
void read_segmentation(std::span<const uint8_t> body, SpliceCommand& command) {
    BitReader reader(body);
    if (reader.bits(32) != four_letters("CUEI")) return;
    const uint32_t event_id = reader.bits(32);
    const bool cancel = reader.flag();
    reader.skip(7);
    uint32_t type_id = 0;
    std::optional<uint64_t> duration;
    if (!cancel) {
        const bool program = reader.flag();
        const bool has_duration = reader.flag();
        reader.skip(6);  // delivery restrictions
        if (!program) reader.skip(size_t{48} * reader.bits(8));
        if (has_duration) duration = reader.long_bits(40);
        reader.skip(8);                           // segmentation_upid_type
        reader.skip(size_t{8} * reader.bits(8));  // segmentation_upid
        type_id = reader.bits(8);
    }
    if (reader.overrun()) return;
    if (!cancel) command.segmentation_type_id = static_cast<uint8_t>(type_id);
    if (!command.event_id) {
        command.event_id = event_id;
        command.cancel = cancel;
    }
    if (!command.duration) command.duration = duration;
}

void read_descriptors(std::span<const uint8_t> loop, SpliceCommand& command) {
    constexpr uint8_t kSegmentation = 2;
    Descriptors descriptors(loop);
    while (const auto descriptor = descriptors.next()) {
        if (descriptor->tag != kSegmentation || command.segmentation_type_id) continue;
        read_segmentation(descriptor->body, command);
    }
}

struct NamedType {
    uint8_t id;
    const char* name;
};
constexpr NamedType kSegmentationTypes[] = {
    {0x00, "Not Indicated"},
    {0x01, "Content Identification"},
    {0x10, "Program Start"},
    {0x11, "Program End"},
    {0x12, "Program Early Termination"},
    {0x13, "Program Breakaway"},
    {0x14, "Program Resumption"},
    {0x15, "Program Runover Planned"},
    {0x16, "Program Runover Unplanned"},
    {0x17, "Program Overlap Start"},
    {0x18, "Program Blackout Override"},
    {0x19, "Program Join"},
    {0x20, "Chapter Start"},
    {0x21, "Chapter End"},
    {0x22, "Break Start"},
    {0x23, "Break End"},
    {0x30, "Provider Advertisement Start"},
    {0x31, "Provider Advertisement End"},
    {0x32, "Distributor Advertisement Start"},
    {0x33, "Distributor Advertisement End"},
    {0x34, "Provider Placement Opportunity Start"},
    {0x35, "Provider Placement Opportunity End"},
    {0x36, "Distributor Placement Opportunity Start"},
    {0x37, "Distributor Placement Opportunity End"},
    {0x38, "Provider Overlay Placement Opportunity Start"},
    {0x39, "Provider Overlay Placement Opportunity End"},
    {0x3A, "Distributor Overlay Placement Opportunity Start"},
    {0x3B, "Distributor Overlay Placement Opportunity End"},
    {0x40, "Unscheduled Event Start"},
    {0x41, "Unscheduled Event End"},
    {0x44, "Provider Ad Block Start"},
    {0x45, "Provider Ad Block End"},
    {0x46, "Distributor Ad Block Start"},
    {0x47, "Distributor Ad Block End"},
    {0x50, "Network Start"},
    {0x51, "Network End"},
};

// Text of a fixed room; what does not fit is cut.
class Line {
  public:
    explicit Line(std::span<char> out) : out_(out) {
        if (!out_.empty()) out_[0] = '\0';
    }
    size_t size() const { return size_; }

    void add(const char* text) {
        for (; *text != '\0' && size_ + 1 < out_.size(); ++text)
            out_[size_++] = *text;
        if (!out_.empty()) out_[size_] = '\0';
    }
    void add(const char* before, uint64_t ticks) {
        char text[32];
        snprintf(text, sizeof text, "%.3f s", static_cast<double>(ticks) / kTicks);
        add(before);
        add(text);
    }

  private:
    std::span<char> out_;
    size_t size_ = 0;
};

}  // namespace

std::optional<SpliceCommand> read_splice_command(std::span<const uint8_t> section) {
    constexpr uint32_t kUnknownLength = 0xFFF;
    BitReader reader(section);
    if (reader.bits(8) != kTableId) return std::nullopt;
    reader.skip(4);
    const size_t end = 3 + reader.bits(12);
    if (end > section.size() || end < kCrc) return std::nullopt;
    reader = BitReader(section.first(end - kCrc));
    reader.skip(24 + 8);  // up to protocol_version
    const bool encrypted = reader.flag();
    reader.skip(6);  // encryption_algorithm
    const uint64_t pts_adjustment = reader.long_bits(33);
    reader.skip(8 + 12);  // cw_index, tier
    const uint32_t length = reader.bits(12);
    const uint32_t type = reader.bits(8);
    if (encrypted || (type != kSpliceInsert && type != kTimeSignal)) return std::nullopt;

    SpliceCommand command;
    command.type =
        type == kSpliceInsert ? SpliceCommand::Type::kInsert : SpliceCommand::Type::kTimeSignal;
    BitReader body = reader;
    if (type == kSpliceInsert)
        read_insert(body, command);
    else
        command.pts = read_splice_time(body);
    if (body.overrun()) return std::nullopt;
    if (command.pts) command.pts = (*command.pts + pts_adjustment) & kPtsMask;
    // Old encoders leave the length open: then the command ends where its members do.
    if (length == kUnknownLength)
        reader = body;
    else
        reader.skip(size_t{8} * length);
    const size_t loop_length = reader.bits(16);
    const size_t begin = reader.position() / 8;
    if (reader.overrun() || loop_length > end - kCrc - begin) return command;
    read_descriptors(section.subspan(begin, loop_length), command);
    return command;
}

const char* segmentation_type_name(uint8_t segmentation_type_id) {
    for (const NamedType& type : kSegmentationTypes)
        if (type.id == segmentation_type_id) return type.name;
    return nullptr;
}

size_t describe_splice(const SpliceCommand& command, std::span<char> out) {
    Line line(out);
    char text[32];
    const bool insert = command.type == SpliceCommand::Type::kInsert;
    line.add(insert ? "splice_insert" : "time_signal");
    if (command.event_id) {
        snprintf(text, sizeof text, " %" PRIu32, *command.event_id);
        line.add(text);
    }
    line.add(":");
    if (command.cancel) line.add(" cancelled");
    if (insert && !command.cancel)
        line.add(command.out_of_network ? " out of network" : " back to network");
    if (command.segmentation_type_id) {
        const char* name = segmentation_type_name(*command.segmentation_type_id);
        snprintf(text, sizeof text, "segmentation type 0x%02x", *command.segmentation_type_id);
        line.add(" ");
        line.add(name != nullptr ? name : text);
    }
    if (command.pts)
        line.add(" at ", *command.pts);
    else if (!command.cancel)
        line.add(" at once");
    if (command.duration) line.add(" for ", *command.duration);
    if (command.auto_return) line.add(", auto return");
    return line.size();
}

}  // namespace zv::survey
