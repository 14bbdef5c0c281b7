// SPDX-License-Identifier: MIT
// The searches against what they are defined to find: packet size and first packet of a buffer, and
// the first PES header.
#include <vector>

#include "mpeg/ts_packet/pes_header.h"
#include "mpeg/ts_packet/ts_packet.h"
#include "parts/input.h"
#include "parts/log_double.h"
#include "ts_tools.h"

namespace {

constexpr size_t kMaxInput = 4096;  // the definitions cost its square
constexpr size_t kPesLookAhead = 6;
constexpr int kPacketSizes[] = {188, 192, 204};

bool is_stream(std::span<const uint8_t> bytes, int packet_size) {
    for (size_t at = 0; at < bytes.size(); at += static_cast<size_t>(packet_size)) {
        if (bytes[at] != zv::kTsSyncByte) return false;
    }
    return true;
}

// -> the first of the three sizes at which the bytes are a stream, 0 when none is
int stream_size(std::span<const uint8_t> bytes) {
    for (const int size : kPacketSizes) {
        if (is_stream(bytes, size)) return size;
    }
    return 0;
}

int first_stream_offset(std::span<const uint8_t> bytes) {
    for (size_t at = 0; at < bytes.size(); ++at) {
        if (stream_size(bytes.subspan(at)) != 0) return static_cast<int>(at);
    }
    return -1;
}

void compare_packet_search(std::span<const uint8_t> bytes) {
    fuzz::ExactBytes block(bytes);
    const int offset = first_stream_offset(bytes);
    fuzz::require(zvsi_api_tsOffsetInBuf(block.data(), block.length()) == offset,
                  "the first offset is found");
    const int size =
        offset < 0 ? zv::kTsPacketSize : stream_size(bytes.subspan(static_cast<size_t>(offset)));
    fuzz::require(
        mpegts_api_getTsPktSize3(block.data(), static_cast<uint32_t>(block.size())) == size,
        "the packet size is that of the first offset");
    fuzz::require((zvsi_api_isTs(block.data(), static_cast<uint32_t>(block.size())) != 0) ==
                      (stream_size(bytes) != 0),
                  "isTs knows all three sizes");
}

// Everything but the look-ahead is searched.
void compare_pes_search(std::span<const uint8_t> bytes) {
    fuzz::ExactBytes block(bytes.size() + kPesLookAhead);
    std::copy(bytes.begin(), bytes.end(), block.data());
    const auto length = static_cast<int32_t>(bytes.size());
    int32_t expected = 0;
    while (expected < length &&
           !(pes_validate(block.data() + expected) && pes_validate_header(block.data() + expected)))
        ++expected;
    if (expected == length) expected = -1;
    fuzz::require(pes_find(block.data(), length) == expected, "the first PES header is found");
}

// The input with sync bytes at one of the packet sizes, as far as the mask lets them.
std::vector<uint8_t> with_sync_bytes(std::span<const uint8_t> bytes, uint8_t where, uint8_t mask) {
    std::vector<uint8_t> out(bytes.begin(), bytes.end());
    const auto size = static_cast<size_t>(kPacketSizes[where % std::size(kPacketSizes)]);
    for (size_t at = where, i = 0; at < out.size(); at += size, ++i) {
        if (mask >> (i % 8) & 1) out[at] = zv::kTsSyncByte;
    }
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteSource in(data, std::min(size, kMaxInput));
    fuzz::set_log(in);
    const uint8_t where = in.u8();
    const uint8_t mask = in.u8();
    const auto bytes = with_sync_bytes(in.rest(), where, mask);
    compare_packet_search(bytes);
    compare_pes_search(bytes);
    return 0;
}
