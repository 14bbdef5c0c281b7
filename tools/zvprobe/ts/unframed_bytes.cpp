// SPDX-License-Identifier: MIT
// Implementation of unframed_bytes.h.
#include "ts/unframed_bytes.h"

#include <algorithm>
#include <utility>

#include "mpeg/ts_packet/packet_fields.h"
#include "ts/survey_run.h"

namespace zvprobe {
namespace {

// So many packets in a row are no accident.
constexpr uint64_t kSureRun = 5;

}  // namespace

// A packet's own bytes are framed, and not what the packet size adds to them: when the next packet is
// of another size, it begins there.
void UnframedBytes::see_packets(std::span<const uint8_t> packets, size_t packet_size,
                                uint64_t offset) {
    const size_t count = packets.size() / packet_size;
    run_length_ = offset == run_end_ ? run_length_ + count : count;
    run_end_ = offset + packets.size();
    if (run_length_ >= kSureRun) framed_ = run_end_ - packet_size + zv::kTsPacketSize;
}

void UnframedBytes::keep(std::span<const uint8_t> bytes) {
    given_ += bytes.size();
    const uint64_t unframed = given_ - std::min(given_, framed_);
    if (unframed <= bytes.size()) {
        const auto kept = bytes.last(static_cast<size_t>(unframed));
        bytes_.assign(kept.begin(), kept.end());
        return;
    }
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    const size_t kept = std::min<uint64_t>(bytes_.size(), unframed);
    bytes_.erase(bytes_.begin(), bytes_.end() - static_cast<ptrdiff_t>(kept));
}

std::vector<uint8_t> UnframedBytes::release() {
    return std::exchange(bytes_, {});
}

size_t parity_size(uint64_t packet_size) {
    return packet_size == zv::kParityPacketSize ? zv::kParityPacketSize - zv::kTsPacketSize : 0;
}

size_t packet_size_of(std::span<const uint8_t> bytes) {
    SurveyRun survey({[](const ZvSurveyEvent&) {}, [](auto, auto, auto) {}, {}});
    survey.feed(bytes, false);
    return survey.totals().packet_size;
}

}  // namespace zvprobe
