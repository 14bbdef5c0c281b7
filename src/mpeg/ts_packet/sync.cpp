// SPDX-License-Identifier: MIT
// Is this memory a transport stream, at which packet size, and where does its first packet start?
#include "mpeg/ts_packet/ts_packet.h"
#include "ts_tools.h"

namespace {

// The packet starts of one residue class run back from the buffer's end while each is a sync byte;
// the run's first start is the class's answer. -> that offset, or `none`
int first_start_of_class(const uint8_t* buf, int last, int packet_size, int none) {
    int first = none;
    for (int at = last; at >= 0 && buf[at] == zv::kTsSyncByte; at -= packet_size)
        first = at;
    return first;
}

}  // namespace

int zvsi_api_isTsByPktSize(const uint8_t* buf, uint32_t len, int pkt_size) {
    if (pkt_size <= 0 || (buf == nullptr && len > 0)) return 0;
    for (size_t at = 0; at < len; at += static_cast<size_t>(pkt_size)) {
        if (buf[at] != zv::kTsSyncByte) return 0;
    }
    return 1;
}

int zvsi_api_isTs(const uint8_t* buf, uint32_t len) {
    for (const int size : zv::kPacketSizes) {
        if (zvsi_api_isTsByPktSize(buf, len, size)) return 1;
    }
    return 0;
}

int zvsi_api_getPktSize(const uint8_t* buf, uint32_t len) {
    for (const int size : zv::kPacketSizes) {
        if (zvsi_api_isTsByPktSize(buf, len, size)) return size;
    }
    return zv::kTsPacketSize;
}

int zvsi_api_tsOffsetInBuf(const uint8_t* buf, int len) {
    if (buf == nullptr || len <= 0) return -1;
    // An offset fits when every start after it does, so only the last starts of the buffer can
    // begin a run: one walk for each size and residue class, at most three reads a byte in all.
    int first = len;
    for (const int size : zv::kPacketSizes) {
        for (int back = 1; back <= size && back <= len; ++back) {
            const int start = first_start_of_class(buf, len - back, size, len);
            if (start < first) first = start;
        }
    }
    return first < len ? first : -1;
}

uint8_t mpegts_api_getTsPktSize3(const uint8_t* buf, uint32_t len) {
    const int offset = zvsi_api_tsOffsetInBuf(buf, static_cast<int>(len));
    if (offset < 0) return zv::kTsPacketSize;
    return static_cast<uint8_t>(
        zvsi_api_getPktSize(buf + offset, len - static_cast<uint32_t>(offset)));
}
