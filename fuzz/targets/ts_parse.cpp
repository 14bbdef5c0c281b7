// SPDX-License-Identifier: MIT
// The resolver over any bytes in pieces of any size, and over whole packets: fed at once or in
// groups, they must leave the same context and the same report.
#include <string>

#include "parts/analyser.h"
#include "parts/log_double.h"
#include "parts/packets.h"

namespace {

using fuzz::Analyser;

constexpr size_t kPacketSizes[] = {188, 192, 204};
constexpr size_t kMaxInput = size_t{1} << 16;

struct Plan {
    bool whole_packets;  // compare the two ways of feeding them
    bool repair_crcs;
    bool long_name;
    bool change_options;  // from piece to piece
    size_t packet_size;
    uint8_t options;
};

Plan read_plan(fuzz::ByteSource& in) {
    const uint8_t mode = in.u8();
    return {
        .whole_packets = (mode & 1) != 0,
        .repair_crcs = (mode & 2) != 0,
        .long_name = (mode & 4) != 0,
        .change_options = (mode & 8) != 0,
        .packet_size = kPacketSizes[(mode >> 4) % std::size(kPacketSizes)],
        .options = in.u8(),
    };
}

const char* name_of(const Plan& plan) {
    static const std::string long_name(300, 'n');
    return plan.long_name ? long_name.c_str() : "fuzz";
}

void feed_any_pieces(const Plan& plan, fuzz::PieceSizes& sizes, fuzz::ByteSource& in) {
    Analyser analyser(name_of(plan));
    uint32_t options = plan.options;
    while (!in.empty()) {
        const uint8_t size = sizes.next();
        analyser.parse(in.take(size < 128 ? size + size_t{1} : size_t{size} * 16), options);
        if (size & 1) analyser.report();
        if (plan.change_options) options ^= size;
    }
    analyser.report();
}

// -> what one call over all the bytes would have returned
int feed_groups(Analyser& analyser, const Plan& plan, fuzz::PieceSizes& sizes,
                std::span<const uint8_t> packets, uint32_t options) {
    int result = 0;
    for (fuzz::ByteSource in(packets); !in.empty();) {
        const size_t count = 1 + sizes.next() % 32;
        const int one = analyser.parse(in.take(count * plan.packet_size), options);
        if (one == -1) return -1;
        result |= one;
    }
    return result;
}

void compare_ways(const Plan& plan, fuzz::PieceSizes& sizes, fuzz::ByteSource& in) {
    const auto packets = fuzz::whole_packets(in.rest(), plan.packet_size, plan.repair_crcs);
    // With the option to stop, a call ends where the tables are known but only at its beginning.
    const uint32_t options = plan.options & ~ZV_TS_STOP_KNOWN;
    Analyser at_once(name_of(plan));
    at_once.context()->pkt_size = static_cast<uint8_t>(plan.packet_size);
    const int result = at_once.parse(packets, options);
    at_once.report();

    Analyser in_groups(name_of(plan));
    in_groups.context()->pkt_size = static_cast<uint8_t>(plan.packet_size);
    fuzz::require(feed_groups(in_groups, plan, sizes, packets, options) == result,
                  "both ways return the same");
    in_groups.report();
    at_once.require_same_context(in_groups);
    at_once.require_same_report(in_groups);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteSource in(data, std::min(size, kMaxInput));
    const Plan plan = read_plan(in);
    fuzz::set_log(in);
    fuzz::PieceSizes sizes(in);
    if (plan.whole_packets)
        compare_ways(plan, sizes, in);
    else
        feed_any_pieces(plan, sizes, in);
    return 0;
}
