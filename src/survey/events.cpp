// SPDX-License-Identifier: MIT
// Implementation of events.h: names and messages.
#include "survey/events.h"

#include <cstdio>

namespace zv::survey {
namespace {

template <typename... Args>
std::string text(const char* format, Args... args) {
    char line[160];
    std::snprintf(line, sizeof line, format, args...);
    return line;
}

}  // namespace

EventName name_of(EventKind kind) {
    switch (kind) {
        case EventKind::kSyncLoss:
            return {"TS_sync_loss", "1.1"};
        case EventKind::kSyncByteError:
            return {"Sync_byte_error", "1.2"};
        case EventKind::kContinuityError:
            return {"Continuity_count_error", "1.4"};
        case EventKind::kTransportError:
            return {"Transport_error", "2.1"};
        case EventKind::kCrcError:
            return {"CRC_error", "2.2"};
        case EventKind::kPatChanged:
            return {"pat_changed", nullptr};
        case EventKind::kPmtChanged:
            return {"pmt_changed", nullptr};
        case EventKind::kSdtChanged:
            return {"sdt_changed", nullptr};
        case EventKind::kProgramAdded:
            return {"program_added", nullptr};
        case EventKind::kProgramRemoved:
            return {"program_removed", nullptr};
        case EventKind::kDiscontinuitySignalled:
            return {"discontinuity_signalled", nullptr};
        case EventKind::kScramblingChanged:
            return {"scrambling_changed", nullptr};
        case EventKind::kStreamAppeared:
            return {"stream_appeared", nullptr};
        case EventKind::kStreamVanished:
            return {"stream_vanished", nullptr};
    }
    return {"", nullptr};
}

std::string message_of(const Event& event) {
    const unsigned a = event.a;
    const unsigned b = event.b;
    switch (event.kind) {
        case EventKind::kSyncLoss:
            return "sync lost";
        case EventKind::kSyncByteError:
            return text("0x%02x where a sync byte should be", a);
        case EventKind::kContinuityError:
            return text("continuity %u after %u", a, b);
        case EventKind::kTransportError:
            return "transport_error_indicator";
        case EventKind::kCrcError:
            return text("wrong CRC, table 0x%02x", a);
        case EventKind::kPatChanged:
            return text("PAT version %u, transport stream 0x%04x", a, b);
        case EventKind::kPmtChanged:
            return text("PMT of programme %u, version %u", a, b);
        case EventKind::kSdtChanged:
            return text("SDT version %u, transport stream 0x%04x", a, b);
        case EventKind::kProgramAdded:
            return text("programme %u, PMT 0x%x", a, b);
        case EventKind::kProgramRemoved:
            return text("programme %u, PMT 0x%x, is gone", a, b);
        case EventKind::kDiscontinuitySignalled:
            return "discontinuity_indicator";
        case EventKind::kScramblingChanged:
            return a ? "scrambled from here on" : "clear from here on";
        case EventKind::kStreamAppeared:
            return text("stream 0x%x, type 0x%02x, is new in programme %u", unsigned(event.pid), b,
                        a);
        case EventKind::kStreamVanished:
            return text("stream 0x%x is gone from programme %u", unsigned(event.pid), a);
    }
    return {};
}

}  // namespace zv::survey
