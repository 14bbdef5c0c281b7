// SPDX-License-Identifier: MIT
// What happened, in order: counted without end, the first listed, each told to the host.
#pragma once

#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace zv::survey {

constexpr double kNoTime = std::numeric_limits<double>::quiet_NaN();
constexpr int kNoPid = -1;

enum class EventKind : uint8_t {
    // Indicators of ETSI TR 101 290, in its order.
    kSyncLoss,
    kSyncByteError,
    kContinuityError,
    kTransportError,
    kCrcError,
    // What else is worth a line.
    kPatChanged,
    kPmtChanged,
    kSdtChanged,
    kProgramAdded,
    kProgramRemoved,
    kDiscontinuitySignalled,
    kScramblingChanged,
    kStreamAppeared,
    kStreamVanished,
};

struct EventName {
    const char* name;
    const char* indicator;  // null for what TR 101 290 does not name
};
EventName name_of(EventKind kind);

struct Event {
    EventKind kind;
    int32_t pid = kNoPid;
    uint64_t offset = 0;
    uint32_t a = 0, b = 0;  // what the message says, by kind
    double time_s = kNoTime;
};

// -> one line for people
std::string message_of(const Event& event);

class EventLog {
  public:
    static constexpr size_t kMostListed = 1000;

    using Tell = std::function<void(const Event&)>;
    explicit EventLog(Tell tell) : tell_(std::move(tell)) {}

    void add(const Event& event) {
        if (total_++ < kMostListed) listed_.push_back(event);
        if (tell_) tell_(event);
    }

    uint64_t total() const { return total_; }
    const std::vector<Event>& listed() const { return listed_; }

  private:
    Tell tell_;
    uint64_t total_ = 0;
    std::vector<Event> listed_;
};

}  // namespace zv::survey
