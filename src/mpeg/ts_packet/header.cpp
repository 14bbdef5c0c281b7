// SPDX-License-Identifier: MIT
// The 4-byte header that opens every transport packet (ISO/IEC 13818-1, 2.4.3.2).
#include "bitStream/log.h"
#include "mpeg/ts_packet/ts_packet.h"

int zvsi_api_tsHeaderParse(ts_head* out, const uint8_t* pkt, int /*pkt_size*/, uint8_t print_mode) {
    if (out == nullptr || pkt == nullptr) return -1;
    if (pkt[0] != zv::kTsSyncByte) {
        LOG(zv::kLogWarning, "zvsi", "It is not a ts buf,because the syn_byte is %d ,not %d",
            pkt[0], zv::kTsSyncByte);
        return -1;
    }
    *out = zv::decode_header(pkt);
    if (print_mode != 0) zvsi_api_tsHeaderPrint(out, print_mode);
    return 0;
}

void zvsi_api_tsHeaderPrint(const ts_head* h, uint8_t mode) {
    if (h == nullptr) return;
    if (mode == 1) {
        LOG(zv::kLogDebug, "zvsi", "Sync byte:%#x", h->sync_byte);
        LOG(zv::kLogDebug, "zvsi", "transport error indicator:%#x", h->transport_error_indicator);
        LOG(zv::kLogDebug, "zvsi", "payload unit start indicator:%#x",
            h->payload_unit_start_indicator);
        LOG(zv::kLogDebug, "zvsi", "transport priority:%#x", h->transport_priority);
        LOG(zv::kLogDebug, "zvsi", "PID:%#x", h->pid);
        LOG(zv::kLogDebug, "zvsi", "transport scrambling control:%#x",
            h->transport_scrambling_control);
        LOG(zv::kLogDebug, "zvsi", "adaption field control:%#x", h->adaptation_field_control);
        LOG(zv::kLogDebug, "zvsi", "continuity counter:%#x", h->continuity_counter);
    } else if (mode == 2) {
        LOG(zv::kLogDebug, "zvsi", "PID,continuity counter:%#x,%#x", h->pid, h->continuity_counter);
    }
}

void zvsi_api_tsHeaderBuild(uint16_t pid, uint8_t adaptation_field_control,
                            uint8_t continuity_counter, uint8_t* out) {
    out[0] = zv::kTsSyncByte;
    out[1] = static_cast<uint8_t>(0x40 | ((pid >> 8) & 0x1F));
    out[2] = static_cast<uint8_t>(pid);
    out[3] = static_cast<uint8_t>(((adaptation_field_control << 4) & 0x30) |
                                  (continuity_counter & 0x0F));
}

void zvsi_api_tsHeaderRemap(uint16_t pid, uint8_t* pkt) {
    pkt[1] = static_cast<uint8_t>(pkt[1] | ((pid >> 8) & 0x1F));
    pkt[2] = static_cast<uint8_t>(pid);
}

int zvsi_api_isValidPid(uint16_t pid) {
    return pid >= zv::kPidFirstValid && pid <= zv::kPidLastValid;
}
