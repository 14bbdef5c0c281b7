// SPDX-License-Identifier: MIT
// PES packets taken apart: any packets at all, and elementary streams that are packed the way the
// input says (stuffing, repeats, header lengths) and must come out as they went in.
#include "mpeg/ts_tools/pes_payload.h"

#include <vector>

#include "mpeg/ts_packet/ts_packet.h"
#include "parts/input.h"

namespace {

constexpr uint16_t kPid = 0x100;
constexpr size_t kMaxStream = 60000;  // a bounded PES packet holds no more than 65535 bytes

void take_any_packets(fuzz::ByteSource& in) {
    zv::PesPayload stream;
    while (!in.empty()) {
        fuzz::ExactBytes packet(zv::kTsPacketSize);
        const uint8_t head[] = {zv::kTsSyncByte, in.u8(), in.u8(), in.u8()};
        std::copy_n(head, sizeof head, packet.data());
        const auto body = in.take(in.u8() % (zv::kTsBodySize + 1));
        std::copy(body.begin(), body.end(), packet.data() + zv::kTsHeaderSize);
        const auto payload = stream.take(packet.data());
        fuzz::require(
            payload.empty() || (payload.data() >= packet.data() + zv::kTsHeaderSize &&
                                payload.data() + payload.size() <= packet.data() + packet.size()),
            "the payload lies in the packet");
    }
}

// -> the elementary stream after a PES header with `stuffing` bytes of optional fields
std::vector<uint8_t> make_pes(std::span<const uint8_t> stream, uint8_t stuffing, bool is_bounded) {
    const size_t length = is_bounded ? 3 + stuffing + stream.size() : 0;
    std::vector<uint8_t> pes = {
        0,    0, 1,       0xE0, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length),
        0x80, 0, stuffing};
    pes.insert(pes.end(), stuffing, 0xFF);
    pes.insert(pes.end(), stream.begin(), stream.end());
    return pes;
}

// -> a packet that holds all of a payload of 1..184 bytes after as much stuffing as it takes
fuzz::ExactBytes make_packet(std::span<const uint8_t> payload, uint8_t counter, bool starts) {
    fuzz::ExactBytes packet(zv::kTsPacketSize);
    memset(packet.data(), 0xFF, packet.size());
    const size_t stuffing = zv::kTsBodySize - payload.size();
    zvsi_api_tsHeaderBuild(kPid, stuffing > 0 ? zv::kAfcBoth : zv::kAfcPayloadOnly, counter,
                           packet.data());
    if (!starts) packet.data()[1] &= 0x1F;
    if (stuffing > 0) packet.data()[4] = static_cast<uint8_t>(stuffing - 1);
    if (stuffing > 1) packet.data()[5] = 0;
    std::copy(payload.begin(), payload.end(), packet.data() + packet.size() - payload.size());
    return packet;
}

void pack_and_take(fuzz::ByteSource& in) {
    const uint8_t stuffing = in.u8();
    const bool is_bounded = (in.u8() & 1) != 0;
    fuzz::PieceSizes sizes(in);
    const auto stream = in.take(kMaxStream);
    const auto pes = make_pes(stream, stuffing, is_bounded);
    if (is_bounded && stream.empty()) return;

    zv::PesPayload reader;
    std::vector<uint8_t> got;
    uint8_t counter = 0;
    for (fuzz::ByteSource rest(pes); !rest.empty(); ++counter) {
        const uint8_t size = sizes.next();
        const bool starts = rest.size() == pes.size();
        auto packet = make_packet(rest.take(1U + size % zv::kTsBodySize), counter, starts);
        for (int times = size >= 0xF0 ? 2 : 1; times > 0; --times) {
            const auto payload = reader.take(packet.data());
            got.insert(got.end(), payload.begin(), payload.end());
        }
    }
    fuzz::require(std::equal(got.begin(), got.end(), stream.begin(), stream.end()),
                  "what was packed comes out");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteSource in(data, size);
    if (in.u8() & 1)
        take_any_packets(in);
    else
        pack_and_take(in);
    return 0;
}
