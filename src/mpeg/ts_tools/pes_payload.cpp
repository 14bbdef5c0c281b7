// SPDX-License-Identifier: MIT
// Packet after packet: is it to be taken, where is its payload, and is that header or body?
#include "mpeg/ts_tools/pes_payload.h"

#include <algorithm>
#include <cstring>

namespace zv {
namespace {

constexpr uint8_t kPaddingStream = 0xBE;  // holds nothing of the stream

// stream_id of packets without the optional header (table 2-18 and its use in 2.4.3.6)
constexpr uint8_t kPlainStreamIds[] = {
    0xBC,  // program_stream_map
    0xBF,  // private_stream_2
    0xF0,  // ECM
    0xF1,  // EMM
    0xF2,  // DSM-CC
    0xF8,  // type E of H.222.1
    0xFF,  // program_stream_directory
};

bool has_optional_header(uint32_t stream_id) {
    return std::find(std::begin(kPlainStreamIds), std::end(kPlainStreamIds), stream_id) ==
           std::end(kPlainStreamIds);
}

std::span<const uint8_t> without_first(std::span<const uint8_t> bytes, uint32_t& count) {
    const size_t skipped = std::min<size_t>(bytes.size(), count);
    count -= static_cast<uint32_t>(skipped);
    return bytes.subspan(skipped);
}

}  // namespace

std::span<const uint8_t> PesPayload::take(const uint8_t* packet) {
    ts_head head;
    if (zvsi_api_tsHeaderParse(&head, packet, kTsPacketSize, 0) != 0) return {};
    if (head.transport_error_indicator || head.transport_scrambling_control != 0) return {};
    std::span<const uint8_t> payload = payload_of(packet);
    if (payload.empty() || is_repeat(head.continuity_counter, payload)) return {};

    if (head.payload_unit_start_indicator) {
        state_ = State::kInHead;
        head_filled_ = 0;
    }
    if (state_ == State::kInHead) payload = read_head(payload);
    if (state_ != State::kInBody) return {};
    payload = without_first(payload, header_left_);
    if (!is_bounded_) return payload;
    const size_t size = std::min<size_t>(payload.size(), body_left_);
    body_left_ -= static_cast<uint32_t>(size);
    return payload.first(size);
}

// A packet may be sent twice (2.4.3.3); the second is told by its counter and its bytes, so that a
// loss of sixteen packets is not taken for it.
bool PesPayload::is_repeat(uint8_t continuity_counter, std::span<const uint8_t> payload) {
    if (continuity_counter == last_counter_ && payload.size() == last_size_ &&
        memcmp(payload.data(), last_payload_, last_size_) == 0)
        return true;
    last_counter_ = continuity_counter;
    last_size_ = payload.size();
    memcpy(last_payload_, payload.data(), last_size_);
    return false;
}

// The head may go on in the next packet. -> what follows it
std::span<const uint8_t> PesPayload::read_head(std::span<const uint8_t> payload) {
    while (!payload.empty() && state_ == State::kInHead) {
        head_[head_filled_++] = payload[0];
        payload = payload.subspan(1);
        const bool is_plain =
            head_filled_ == kPesStartSize && !has_optional_header(pes_get_streamid(head_));
        if (is_plain || head_filled_ == kPesFixedHeaderSize) enter_body();
    }
    return payload;
}

void PesPayload::enter_body() {
    state_ = State::kSkipping;
    if (!pes_validate(head_) || pes_get_streamid(head_) == kPaddingStream) return;
    uint32_t counted = 0;  // header bytes that PES_packet_length includes
    header_left_ = 0;
    if (head_filled_ == kPesFixedHeaderSize) {
        if (!pes_validate_header(head_)) return;
        header_left_ = pes_get_headerlength(head_);
        counted = kPesFixedHeaderSize - kPesStartSize + header_left_;
    }
    const uint32_t packet_length = pes_get_length(head_);
    if (packet_length != 0 && packet_length < counted) return;
    is_bounded_ = packet_length != 0;
    body_left_ = packet_length - counted;
    state_ = State::kInBody;
}

}  // namespace zv
