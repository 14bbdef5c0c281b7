// SPDX-License-Identifier: MIT
// The transport packet layer of ISO/IEC 13818-1 as the resolver and its tools use it: header,
// continuity, sync and packet size, adaptation field and PCR. Functions over one packet, without a
// context; some report through the log. The fields themselves are in packet_fields.h.
#pragma once

#include <cstdint>

#include "mpeg/ts_packet/packet_fields.h"
#include "mpegts.h"

extern "C" {

// The decoded 4-byte header of a packet.
struct ts_head {
    uint8_t sync_byte;
    uint8_t transport_error_indicator;
    uint8_t payload_unit_start_indicator;
    uint8_t transport_priority;
    uint16_t pid;
    uint8_t transport_scrambling_control;
    uint8_t adaptation_field_control;
    uint8_t continuity_counter;
};

// header.cpp

// Decodes pkt[0..3]. print_mode goes to zvsi_api_tsHeaderPrint; pkt_size is not used.
// -> 0; -1 for a null argument or a byte other than 0x47 (logged), out is then as it was
int zvsi_api_tsHeaderParse(ts_head* out, const uint8_t* pkt, int pkt_size, uint8_t print_mode);

// Debug dump at level 4. mode 1: every field, a line each; 2: PID and counter; else nothing.
void zvsi_api_tsHeaderPrint(const ts_head* h, uint8_t mode);

// Writes out[0..3] for a packet that starts a unit.
void zvsi_api_tsHeaderBuild(uint16_t pid, uint8_t adaptation_field_control,
                            uint8_t continuity_counter, uint8_t* out);

// Puts pid into a header. The high five bits are ORed onto the old ones: exact only when the old
// high bits are a subset of the new; callers that need more clear them first.
void zvsi_api_tsHeaderRemap(uint16_t pid, uint8_t* pkt);

// -> 1 when a programme or stream may live on pid: 0x10..0x1FFE
int zvsi_api_isValidPid(uint16_t pid);

// continuity.cpp

// Checks one packet's counter and counts discontinuities. label names the stream in messages.
// mode 1: a counter that continues alt_cc is in order too.
// -> 0 in order, first packet or repeat; -1 discontinuity
int zvsi_api_CCCheck(const char* label, CCState* st, uint8_t cc, uint8_t mode);

// sync.cpp

// -> 1 when every packet start buf[k * pkt_size] inside buf is 0x47 (also for an empty buffer)
int zvsi_api_isTsByPktSize(const uint8_t* buf, uint32_t len, int pkt_size);

// -> 1 when the buffer is a transport stream at 188, 192 or 204 bytes a packet
int zvsi_api_isTs(const uint8_t* buf, uint32_t len);

// -> the first of 188, 192, 204 at which the buffer is a transport stream; 188 when none is
int zvsi_api_getPktSize(const uint8_t* buf, uint32_t len);

// -> the first offset at which the rest of the buffer is a transport stream, -1 when there is none.
// Linear in len.
int zvsi_api_tsOffsetInBuf(const uint8_t* buf, int len);

// adaptation.cpp

// -> bytes between the header and the payload; af points at packet byte 4
uint8_t zvsi_api_getAdaptationFieldLen(uint8_t adaptation_field_control, const uint8_t* af);

// Prepares the adaptation field of *pkt so that a section of section_length payload_len, with its
// pointer field, ends the packet. -> where the payload goes; null when there is none or it does not
// fit before the packet's end
uint8_t* zvsi_api_setAdaptationFieldLen(uint8_t adaptation_field_control, uint16_t payload_len,
                                        uint8_t** pkt);

// -> 1 when the packet carries a PCR; af points at packet byte 4
int zvsi_api_isPcrData(ts_head header, const uint8_t* af);

// -> the PCR in 27 MHz ticks; p points at the adaptation field's flags byte
uint64_t zvsi_api_getPcr(const uint8_t* p);

}  // extern "C"

namespace zv {

// Takes cc over when zvsi_api_CCCheck accepts it without a message; else leaves st alone.
// counter_bits  15; 0 takes any counter, without a branch for packets that have no order
inline bool accept_continuity(CCState& st, uint8_t cc, uint8_t mode, unsigned counter_bits = 15) {
    const bool in_order = ((st.last_cc + 1u - cc) & counter_bits) == 0 || !st.started ||
                          (mode == 1 && cc == ((st.alt_cc + 1) & 15));
    if (!in_order) return false;
    st.started = 1;
    st.last_cc = cc;
    return true;
}

// Counts what accept_continuity did not take, a repeat or a discontinuity, without a message.
// -> packets lost; -1 for a repeat
int count_discontinuity(CCState& st, uint8_t cc);

// The fields of a packet in sync.
inline ts_head decode_header(const uint8_t* pkt) {
    const HeaderWord head = {load_be32(pkt)};
    return {
        .sync_byte = kTsSyncByte,
        .transport_error_indicator = static_cast<uint8_t>((head.word >> 23) & 1),
        .payload_unit_start_indicator = head.payload_unit_start_indicator(),
        .transport_priority = static_cast<uint8_t>((head.word >> 21) & 1),
        .pid = head.pid(),
        .transport_scrambling_control = static_cast<uint8_t>((head.word >> 6) & 3),
        .adaptation_field_control = head.adaptation_field_control(),
        .continuity_counter = head.continuity_counter(),
    };
}

}  // namespace zv
