// SPDX-License-Identifier: MIT
// Rewriting buffers in place: within the buffer, and by whole packets only.
#include "parts/analyser.h"
#include "parts/log_double.h"
#include "parts/packets.h"

namespace {

RemapTarget read_target(fuzz::ByteSource& in) {
    RemapTarget target;
    target.program_number = in.u16();
    target.pmt_pid = in.u16();
    target.pcr_pid = in.u16();
    for (uint16_t& pid : target.pid_es)
        pid = in.u16();
    return target;
}

// The result is the new length's low eight bits; some number of removed packets must explain it.
bool is_explained(int8_t result, int length, int packet_size) {
    if (result == -1) return true;
    for (int removed = 0; removed <= length / packet_size; ++removed) {
        if (static_cast<int8_t>(static_cast<uint8_t>(length - removed * packet_size)) == result)
            return true;
    }
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteSource in(data, size);
    const uint8_t mode = in.u8();
    fuzz::set_log(in);
    const RemapTarget target = read_target(in);
    fuzz::PieceSizes sizes(in);
    std::vector<uint8_t> bytes;
    if (mode & 1)
        bytes = fuzz::make_stream(in);
    else if (mode & 2)
        bytes = fuzz::whole_packets(in.rest(), zv::kTsPacketSize, true);
    else
        bytes = fuzz::any_bytes(in.rest());

    fuzz::Analyser analyser("fuzz");
    fuzz::ByteSource stream(bytes);
    while (!stream.empty()) {
        const size_t piece = mode & 4 ? sizes.next() * size_t{8} : sizes.next() * size_t{188};
        fuzz::ExactBytes block(stream.take(std::max<size_t>(piece, 1)));
        const int8_t result =
            mpegts_api_remap(&target, analyser.context(), block.data(), block.length());
        fuzz::require(is_explained(result, block.length(), analyser.context()->pkt_size),
                      "whole packets are taken out");
    }
    analyser.report();
    return 0;
}
