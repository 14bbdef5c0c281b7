// SPDX-License-Identifier: MIT
// Implementation of pes_units.h.
#include "ts/extract/pes_units.h"

#include <algorithm>
#include <utility>

#include "mpeg/ts_packet/pes_header.h"

namespace zvprobe {
namespace {

constexpr uint8_t kPaddingStream = 0xBE;
constexpr uint8_t kScramblingControl = 0x30;

}  // namespace

std::span<const uint8_t> PesUnits::take(std::span<const uint8_t> payload, bool starts_unit) {
    if (starts_unit) {
        end_unit();
        header_.clear();
        state_ = State::kHeader;
    }
    if (state_ == State::kHeader) payload = take_header(payload);
    if (state_ == State::kAwaiting && !payload.empty()) {
        ++counts_.left_out;
        state_ = State::kPassing;
    }
    if (state_ == State::kComplete) counts_.surplus_bytes += payload.size();
    if (state_ != State::kBody) return {};
    if (!bounded_) return payload;
    const auto body = payload.first(std::min(left_, payload.size()));
    left_ -= body.size();
    if (left_ == 0) state_ = State::kComplete;
    counts_.surplus_bytes += payload.size() - body.size();
    return body;
}

// A header may go on in the next packets. -> what follows it
std::span<const uint8_t> PesUnits::take_header(std::span<const uint8_t> payload) {
    size_t size = 0;
    const auto known_size = [&] { return zv::pes_header_size(header_.data(), header_.size()); };
    while (((size = known_size()) == 0 || header_.size() < size) && !payload.empty()) {
        const size_t next =
            header_.size() < zv::kPesStartSize ? zv::kPesStartSize : zv::kPesFixedHeaderSize;
        const size_t missing = std::max(size, next) - header_.size();
        const auto piece = payload.first(std::min(missing, payload.size()));
        header_.insert(header_.end(), piece.begin(), piece.end());
        payload = payload.subspan(piece.size());
    }
    if (size != 0 && header_.size() == size) state_ = state_after_header();
    return payload;
}

PesUnits::State PesUnits::state_after_header() {
    const uint8_t* const header = header_.data();
    const size_t counted = header_.size() - zv::kPesStartSize;  // by PES_packet_length
    const size_t length = pes_get_length(header);
    const bool optional = zv::pes_has_optional_header(header[3]);
    const bool sound = pes_validate(header) && (!optional || pes_validate_header(header)) &&
                       (length == 0 || length >= counted);
    if (!sound) {
        ++counts_.left_out;
        return State::kPassing;
    }
    if (header[3] == kPaddingStream) return State::kPassing;
    if (optional && (header[6] & kScramblingControl) != 0) {
        ++counts_.scrambled;
        return State::kPassing;
    }
    ++counts_.units;
    damaged_ = false;
    bounded_ = length != 0;
    left_ = bounded_ ? length - counted : 0;
    return bounded_ && left_ == 0 ? State::kComplete : State::kBody;
}

void PesUnits::mark_damaged() {
    if (!std::exchange(damaged_, true)) ++counts_.damaged;
}

void PesUnits::lose() {
    if (state_ == State::kBody) return mark_damaged();
    if (state_ == State::kHeader) {
        ++counts_.left_out;
        state_ = State::kPassing;
    } else if (state_ == State::kComplete) {
        state_ = State::kAwaiting;
    }
}

void PesUnits::end_unit() {
    if (state_ == State::kHeader) ++counts_.left_out;
    if (state_ == State::kBody && bounded_) mark_damaged();
}

void PesUnits::cut_off() {
    end_unit();
    state_ = State::kAwaiting;
}

}  // namespace zvprobe
