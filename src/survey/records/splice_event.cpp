// SPDX-License-Identifier: MIT
// Implementation of splice_event.h: an event has numbers only, so that many can wait for their time.
#include "survey/records/splice_event.h"

#include <array>

namespace zv::survey {
namespace {

enum Flag : uint32_t {
    kTimeSignal = 1,
    kHasEventId = 2,
    kCancel = 4,
    kOutOfNetwork = 8,
    kImmediate = 16,
    kHasPts = 32,
    kHasDuration = 64,
    kAutoReturn = 128,
    kHasSegmentation = 256,
};
constexpr unsigned kSegmentationShift = 16;

uint32_t flag(bool set, Flag flag) {
    return set ? uint32_t{flag} : 0;
}

}  // namespace

Event splice_event(const SpliceCommand& command, uint16_t pid, uint64_t offset) {
    const uint32_t flags =
        flag(command.type == SpliceCommand::Type::kTimeSignal, kTimeSignal) |
        flag(command.event_id.has_value(), kHasEventId) | flag(command.cancel, kCancel) |
        flag(command.out_of_network, kOutOfNetwork) | flag(command.immediate, kImmediate) |
        flag(command.pts.has_value(), kHasPts) | flag(command.duration.has_value(), kHasDuration) |
        flag(command.auto_return, kAutoReturn) |
        flag(command.segmentation_type_id.has_value(), kHasSegmentation);
    return {.kind = EventKind::kSplice,
            .pid = pid,
            .offset = offset,
            .a = command.event_id.value_or(0),
            .b = flags | uint32_t{command.segmentation_type_id.value_or(0)} << kSegmentationShift,
            .c = command.pts.value_or(0),
            .d = command.duration.value_or(0)};
}

std::string splice_text(const Event& event) {
    SpliceCommand command;
    if (event.b & kTimeSignal) command.type = SpliceCommand::Type::kTimeSignal;
    if (event.b & kHasEventId) command.event_id = event.a;
    command.cancel = event.b & kCancel;
    command.out_of_network = event.b & kOutOfNetwork;
    command.immediate = event.b & kImmediate;
    if (event.b & kHasPts) command.pts = event.c;
    if (event.b & kHasDuration) command.duration = event.d;
    command.auto_return = event.b & kAutoReturn;
    if (event.b & kHasSegmentation)
        command.segmentation_type_id = static_cast<uint8_t>(event.b >> kSegmentationShift);
    std::array<char, 160> text;
    return {text.data(), describe_splice(command, text)};
}

}  // namespace zv::survey
