// SPDX-License-Identifier: MIT
// Section head and CRC of the one-packet tables.
#include "mpeg/mpegts/stages/section.h"

#include "bitStream/log.h"
#include "mpeg/mpegts/filters.h"
#include "mpeg/mpegts/psi_layout.h"
#include "zvcommon.h"

int mpegts_innerapi_isTargstTable(const char* table_name, MPEGTSContext* ctx, const uint8_t* body,
                                  uint8_t table_id, uint8_t debug) {
    const int at = zvsi_api_getAdaptationFieldLen(ctx->ts_head.adaptation_field_control, body);
    LOG_IF(debug, zv::kLogDebug, "MPEGTS", "-------adaptation_field_len: %d byte----------", at);
    if (at > zv::kMaxAdaptationLen) return -1;

    const zv::PacketBody bytes(body);
    LOG_IF(debug, zv::kLogDebug, "MPEGTS", "Find tid(%#x,%#x,%#x)", bytes.u8(at), bytes.u8(at + 1),
           bytes.u8(at + 2));
    if (bytes.starts_table(at, table_id)) return at;          // no pointer_field
    if (bytes.starts_table(at + 1, table_id)) return at + 1;  // its value is not examined

    LOG(zv::kLogWarning, "MPEGTS", "Maybe It isnot a %s pkt(%#x,%#x,%#x)", table_name, bytes.u8(at),
        bytes.u8(at + 1), bytes.u8(at + 2));
    if (debug) zvlog_innerapi_bufHex(table_name, body, zv::kTsBodySize, __func__, __LINE__);
    return -1;
}

namespace zv {

OnePacketSection one_packet_section(const MPEGTSContext& ctx, const uint8_t* body, int start) {
    return {
        .adaptation_len =
            zvsi_api_getAdaptationFieldLen(ctx.ts_head.adaptation_field_control, body),
        .section_length = PacketBody(body).be12(start + 1),
    };
}

bool fits_one_packet(const OnePacketSection& section) {
    if (section.sum() <= kTsBodySize) return true;
    LOG(kLogError, "MPEGTS", "(section_len+adaptation_field_len)(%d) > %d,dont support",
        section.sum(), kTsBodySize);
    return false;
}

uint32_t crc_of_section(const uint8_t* table_id, int size) {
    constexpr uint32_t kEmptyCrc = 0xFFFFFFFF;
    return size > 0 ? zvcrc_api_CRC32(table_id, size) : kEmptyCrc;
}

// The section fits one packet, so what the CRC covers lies inside body.
SectionCrc section_crc(const uint8_t* body, const OnePacketSection& section) {
    const int covered = section.section_length - 1;  // table_id up to the byte before CRC_32
    return {
        .stored = PacketBody(body).be32(section.crc_at()),
        .computed = crc_of_section(body + section.table_id_at(), covered),
        .comparable = covered > 0 && section.crc_at() + kCrcSize <= kTsBodySize,
    };
}

void report_bad_crc(const SectionCrc& crc) {
    LOG(kLogError, "MPEGTS", "crc(%#x)!=crc_calac(%#x),maybe pes_payload is error", crc.stored,
        crc.computed);
}

}  // namespace zv
