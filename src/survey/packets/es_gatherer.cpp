// SPDX-License-Identifier: MIT
// Implementation of es_gatherer.h.
#include "survey/packets/es_gatherer.h"

#include "mpeg/ts_packet/pes_header.h"

namespace zv::survey {
void EsGatherer::take(std::span<const uint8_t> payload, bool starts_unit) {
    if (starts_unit) {
        const bool is_pes =
            payload.size() > 3 && payload[0] == 0 && payload[1] == 0 && payload[2] == 1;
        header_.clear();
        state_ = is_pes ? State::kInHeader : State::kBetweenUnits;
        ++units_;
    }
    if (state_ == State::kBetweenUnits) return;
    if (state_ == State::kInHeader) payload = pass_header(payload);
    const size_t room = std::min(kMostBytes - std::min(kMostBytes, bytes_.size()), budget_.left);
    const auto piece = payload.first(std::min(room, payload.size()));
    budget_.left -= piece.size();
    held_ += piece.size();
    bytes_.insert(bytes_.end(), piece.begin(), piece.end());
    if (piece.size() < payload.size()) state_ = State::kBetweenUnits;  // the next would not join
}

// -> what follows the header
std::span<const uint8_t> EsGatherer::pass_header(std::span<const uint8_t> payload) {
    while (!payload.empty()) {
        const size_t size = pes_header_size(header_.data(), header_.size());
        if (size != 0 && header_.size() >= size) break;
        header_.push_back(payload[0]);
        payload = payload.subspan(1);
    }
    const size_t size = pes_header_size(header_.data(), header_.size());
    if (size != 0 && header_.size() >= size) state_ = State::kInPayload;
    return payload;
}

}  // namespace zv::survey
