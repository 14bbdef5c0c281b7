// SPDX-License-Identifier: MIT
// RTP datagrams: the header reader on blocks of the datagram's length, and the packets put in
// order by the library's rules and by others, where every packet must be accounted for.
#include <numeric>
#include <vector>

#include "mpeg/ts_tools/rtp_order.h"
#include "parts/input.h"
#include "rtp/rtp_header.h"

namespace {

struct Delivered {
    uint64_t packets = 0;
    uint8_t sum = 0;  // every byte is read
};

void count(void* user, std::span<const uint8_t> payload) {
    auto* delivered = static_cast<Delivered*>(user);
    delivered->packets += 1;
    delivered->sum =
        std::accumulate(payload.begin(), payload.end(), delivered->sum,
                        [](uint8_t sum, uint8_t byte) { return static_cast<uint8_t>(sum ^ byte); });
}

// Slots by other rules: one is delivered once for each time that it was filled.
class Slots {
  public:
    explicit Slots(int window) : sequence_({window, 3000, 512, true}), full_(sequence_.slots()) {
        sequence_.deliver_to(empty, this);
    }
    void put(const zv::RtpPacket& packet) {
        if (const auto slot = sequence_.put(packet.sequence, packet.ssrc)) full_.at(*slot) = true;
        sequence_.deliver_ready();
        if (packet.payload.size() % 8 == 7) sequence_.give_up_gap();
    }
    void finish() {
        sequence_.flush();
        const auto& counts = sequence_.counts();
        fuzz::require(delivered_ + counts.repeated + counts.late == counts.packets,
                      "every packet is delivered, repeated or late by other rules, too");
    }

  private:
    static void empty(void* self, size_t slot) {
        auto& slots = *static_cast<Slots*>(self);
        fuzz::require(slots.full_.at(slot), "what is delivered has come");
        slots.full_[slot] = false;
        ++slots.delivered_;
    }

    zv::RtpSequence sequence_;
    std::vector<bool> full_;
    uint64_t delivered_ = 0;
};

// Puts a datagram in order; its header is the fuzzer's, or mended to follow the one before.
void put(zv::RtpOrder& order, Slots& slots, std::span<const uint8_t> bytes) {
    fuzz::ExactBytes datagram(bytes);
    const auto packet = zv::parse_rtp(datagram.span());
    if (!packet) return;
    const uint8_t* const end = datagram.data() + datagram.size();
    fuzz::require(
        packet->payload.empty() || (packet->payload.data() >= datagram.data() &&
                                    packet->payload.data() + packet->payload.size() <= end),
        "the payload lies in the datagram");
    order.put(*packet);
    slots.put(*packet);
}

std::vector<uint8_t> read_datagram(fuzz::ByteSource& in, uint16_t& sequence) {
    const uint8_t what = in.u8();
    const auto bytes = in.take(what & 0x3F);
    std::vector<uint8_t> datagram(bytes.begin(), bytes.end());
    if (!(what & 0x80)) return datagram;
    // A plain header in front, its sequence number a small step from the last.
    sequence =
        static_cast<uint16_t>(sequence + 1 + (what & 0x40 ? static_cast<int8_t>(in.u8()) : 0));
    const uint8_t head[12] = {0x80, 33, static_cast<uint8_t>(sequence >> 8),
                              static_cast<uint8_t>(sequence)};
    datagram.insert(datagram.begin(), head, head + sizeof head);
    return datagram;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const auto order = std::make_unique<zv::RtpOrder>();  // two megabytes
    std::destroy_at(order.get());
    std::construct_at(order.get());
    Delivered delivered;
    order->deliver_to(count, &delivered);

    fuzz::ByteSource in(data, size);
    uint16_t sequence = in.u16();
    Slots slots(sequence % 1025);
    while (!in.empty())
        put(*order, slots, read_datagram(in, sequence));
    slots.finish();
    order->flush();
    const auto& counts = order->counts();
    fuzz::require(delivered.packets + counts.repeated + counts.late == counts.packets,
                  "every packet is delivered, repeated or late");
    return 0;
}
