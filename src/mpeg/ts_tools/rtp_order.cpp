// SPDX-License-Identifier: MIT
// Implementation of rtp_order.h.
#include "mpeg/ts_tools/rtp_order.h"

#include <algorithm>
#include <cstring>

namespace zv {

void RtpOrder::put(const RtpPacket& packet) {
    if (const auto slot = sequence_.put(packet.sequence, packet.ssrc)) {
        Slot& to = slots_[*slot];
        to.size = static_cast<uint32_t>(std::min(packet.payload.size(), kMaxPayload));
        if (to.size > 0) memcpy(to.bytes, packet.payload.data(), to.size);
    }
    sequence_.deliver_ready();
}

void RtpOrder::pass_on(void* self, size_t slot) {
    const auto& order = *static_cast<RtpOrder*>(self);
    const Slot& from = order.slots_[slot];
    if (order.deliver_ != nullptr) order.deliver_(order.user_, {from.bytes, from.size});
}

}  // namespace zv
