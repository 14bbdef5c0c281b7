// SPDX-License-Identifier: MIT
// Section head and CRC of the one-packet tables.
#include "mpeg/mpegts/section.h"

#include "bitStream/log.h"
#include "mpeg/mpegts/filters.h"
#include "zvcommon.h"

namespace {

constexpr uint8_t kSectionSyntaxIndicator = 0x80;
constexpr int kMaxAdaptationLen = 182;  // leaves room for a table_id at least

bool starts_table(const zv::PacketBody& body, int at, uint8_t table_id) {
    return body.u8(at) == table_id && (body.u8(at + 1) & kSectionSyntaxIndicator);
}

}  // namespace

int mpegts_innerapi_isTargstTable(const char* table_name, MPEGTSContext* ctx, const uint8_t* body,
                                  uint8_t table_id, uint8_t debug) {
    const int at = zvsi_api_getAdaptationFieldLen(ctx->ts_head.adaptation_field_control, body);
    LOG_IF(debug, zv::kLogDebug, "MPEGTS", "-------adaptation_field_len: %d byte----------", at);
    if (at > kMaxAdaptationLen) return -1;

    const zv::PacketBody bytes(body);
    LOG_IF(debug, zv::kLogDebug, "MPEGTS", "Find tid(%#x,%#x,%#x)", bytes.u8(at), bytes.u8(at + 1),
           bytes.u8(at + 2));
    if (starts_table(bytes, at, table_id)) return at;          // no pointer_field
    if (starts_table(bytes, at + 1, table_id)) return at + 1;  // its value is not examined

    LOG(zv::kLogWarning, "MPEGTS", "Maybe It isnot a %s pkt(%#x,%#x,%#x)", table_name, bytes.u8(at),
        bytes.u8(at + 1), bytes.u8(at + 2));
    if (debug) zvlog_innerapi_bufHex(table_name, body, zv::kTsBodySize, __func__, __LINE__);
    return -1;
}

namespace zv {

bool fits_one_packet(const OnePacketSection& section) {
    if (section.sum() <= kMaxSectionSum) return true;
    LOG(kLogError, "MPEGTS", "(section_len+adaptation_field_len)(%d) > %d,dont support",
        section.sum(), kMaxSectionSum);
    return false;
}

// The section fits one packet, so what the CRC covers lies inside body.
SectionCrc section_crc(const uint8_t* body, const OnePacketSection& section) {
    constexpr uint32_t kEmptyCrc = 0xFFFFFFFF;
    const int covered = section.section_length - 1;  // table_id up to the byte before CRC_32
    return {
        .stored = PacketBody(body).be32(section.crc_at()),
        .computed =
            covered > 0 ? zvcrc_api_CRC32(body + section.table_id_at(), covered) : kEmptyCrc,
        .comparable = covered > 0 && section.crc_at() + 4 <= kTsBodySize,
    };
}

void report_bad_crc(const SectionCrc& crc) {
    LOG(kLogError, "MPEGTS", "crc(%#x)!=crc_calac(%#x),maybe pes_payload is error", crc.stored,
        crc.computed);
}

}  // namespace zv
