// SPDX-License-Identifier: MIT
// Service description table (ETSI EN 300 468, 5.2.3): one section, gathered over up to four
// packets, until there are as many services as programmes. Other sections and later versions are
// not followed.
#include <cstring>

#include "bitStream/log.h"
#include "mpeg/mpegts/filters.h"
#include "mpeg/mpegts/program_view.h"
#include "mpeg/mpegts/psi_layout.h"
#include "mpeg/mpegts/stages/continuity.h"
#include "mpeg/mpegts/stages/section.h"

namespace {

using zv::GatheredSection;

// One service of the loop. Its first descriptor is taken as a service descriptor, tag unchecked.
struct ServiceEntry {
    bool header_inside;  // of the gathered bytes
    uint16_t service_id;
    int des_loop_len;
    uint8_t service_type;
    int provider_at, provider_len;
    int name_at, name_len;

    int described_len() const { return name_len + zv::kServiceDescriptorFixedSize + provider_len; }
    bool adds_up(const GatheredSection& section) const {
        return section.has(name_at, name_len) && described_len() == des_loop_len;
    }
};

ServiceEntry read_entry(const GatheredSection& section, int at) {
    ServiceEntry entry = {};
    const int descriptor = at + zv::kSdtEntrySize;
    entry.header_inside = section.has(at, zv::kSdtEntrySize);
    entry.service_id = section.be16(at);
    entry.des_loop_len = section.be12(at + 3);
    entry.service_type = section.u8(descriptor + 2);
    entry.provider_len = section.u8(descriptor + 3);
    entry.provider_at = descriptor + 4;
    entry.name_len = section.u8(entry.provider_at + entry.provider_len);
    entry.name_at = entry.provider_at + entry.provider_len + 1;
    return entry;
}

// Appends the characters one by one, so NUL bytes vanish from the text.
void copy_text(char (&to)[zv::kServiceTextSize], const GatheredSection& section, int at, int len) {
    memset(to, 0, sizeof to);
    size_t end = 0;
    for (int i = 0; i < len; ++i) {
        const auto c = static_cast<char>(section.u8(at + i));
        if (c != '\0' && end + 1 < sizeof to) to[end++] = c;
    }
}

void store_texts(MPEGTSContext& ctx, const GatheredSection& section, const ServiceEntry& entry) {
    MPEGTSSdt& sdt = ctx.sdt;
    MPEGTSService& service = sdt.services[sdt.service_count];
    sdt.service_count = static_cast<uint16_t>(sdt.service_count + 1);
    LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "---------%d/%d------------", sdt.service_count,
           ctx.totalnum_program);
    copy_text(service.provider_name, section, entry.provider_at, entry.provider_len);
    copy_text(service.service_name, section, entry.name_at, entry.name_len);
    LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "serviceid:%d=%#x", service.service_id,
           service.service_id);
    LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "service_type:%d", service.service_type);
    LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "service_provider_name:%s", service.provider_name);
    LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "service_name:%s", service.service_name);
    LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "-----------------------");
}

bool has_room(const MPEGTSContext& ctx) {
    const int count = ctx.sdt.service_count;
    if (count < ctx.totalnum_program && count < zv::kMaxPrograms) return true;
    LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "sdt_num =totalnum_program:%d=%d", count,
           ctx.totalnum_program);
    return false;
}

// Takes the next free slot; it counts only when its texts are stored, too.
bool store_service(MPEGTSContext& ctx, const GatheredSection& section, const ServiceEntry& entry) {
    MPEGTSService& service = ctx.sdt.services[ctx.sdt.service_count];
    service.service_id = entry.service_id;
    LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "des_loop_len:%d", entry.des_loop_len);
    service.service_type = entry.service_type;
    LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "len_service_provider_name:%u",
           static_cast<unsigned>(entry.provider_len));
    LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "len_service_name:%u",
           static_cast<unsigned>(entry.name_len));
    if (!entry.adds_up(section)) {
        LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "unvaild des_loop_len:%d!=%d", entry.des_loop_len,
               entry.described_len());
        return false;
    }
    store_texts(ctx, section, entry);
    return true;
}

// -> false when the walk ends here: no room for more services, or a descriptor that does not add up
bool read_service(MPEGTSContext& ctx, const GatheredSection& section, const ServiceEntry& entry) {
    if (entry.header_inside && zv::find_service(ctx.sdt, entry.service_id) != nullptr) {
        LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "find serviceid(programe_num):%d",
               entry.service_id);
        return true;
    }
    if (entry.header_inside && !has_room(ctx)) return false;
    if (ctx.sdt.service_count < zv::kMaxPrograms) return store_service(ctx, section, entry);
    return false;
}

bool read_services(MPEGTSContext& ctx, const GatheredSection& section, int start, int loop_len) {
    LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "-------[SDT]service_des_loop,len=%d----------",
           loop_len);
    for (int i = 0; i < loop_len;) {
        const ServiceEntry entry = read_entry(section, start + zv::kSdtHeaderSize + i);
        if (!read_service(ctx, section, entry)) return false;
        i += entry.des_loop_len + zv::kSdtEntrySize;
    }
    return true;
}

// The CRC is looked at last: services of a damaged section stay and are reported.
void check_crc(const MPEGTSSdt& sdt, const GatheredSection& section, int adaptation_len) {
    const int table_id_at = adaptation_len + 1;
    const int covered = sdt.section_length - 1;  // table_id up to the byte before CRC_32
    const uint32_t stored = section.be32(sdt.section_length + adaptation_len);
    const uint32_t computed = zv::crc_of_section(section.at(table_id_at),
                                                 section.has(table_id_at, covered) ? covered : 0);
    LOG_IF(DBG_PAT, zv::kLogDebug, "MPEGTS", "crc:%#x=%u", stored, stored);
    if (stored != computed)
        LOG(zv::kLogWarning, "MPEGTS", "crc(%#x)!=crc_calac(%#x)", stored, computed);
}

// Every byte of the section has been gathered.
uint32_t parse_section(MPEGTSContext& ctx) {
    MPEGTSSdt& sdt = ctx.sdt;
    const GatheredSection section(sdt.section_buffer);
    // This packet's adaptation field control, applied to the gathered bytes.
    const int adaptation_len =
        zvsi_api_getAdaptationFieldLen(ctx.ts_head.adaptation_field_control, sdt.section_buffer);
    LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "-------adaptation_field_len: %d byte----------",
           adaptation_len);
    if (adaptation_len > zv::kMaxAdaptationLen) return 0;
    int start = adaptation_len;
    if (!section.starts_table(start, zv::kTableIdSdt)) ++start;
    if (!section.starts_table(start, zv::kTableIdSdt)) {
        LOG_IF(DBG_SDT, zv::kLogInfo, "MPEGTS",
               "Maybe It isnot a sdt pkt, or it is a SI_TID_SDT_OTH ,but i donot support");
        if (DBG_SDT)
            zvlog_innerapi_bufHex("SDT", sdt.section_buffer, zv::kTsBodySize, __func__, __LINE__);
        return 0;
    }
    const int loop_len = sdt.section_length + adaptation_len - start - zv::kSdtHeaderSize;
    if (!read_services(ctx, section, start, loop_len)) return 0;
    ctx.is_update = 1;
    check_crc(sdt, section, adaptation_len);
    sdt.received = 0;
    return 1;
}

// -> false when the packet starts something else
bool read_header(MPEGTSContext& ctx, const uint8_t* body_bytes) {
    LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "-------[SDT]HEADER INFO:%d byte----------",
           zv::kSdtHeaderSize);
    LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "The psi has pointer_filed in the first byte ");
    const int start =
        mpegts_innerapi_isTargstTable("SDT", &ctx, body_bytes, zv::kTableIdSdt, DBG_SDT);
    if (start < 0) return false;
    const zv::PacketBody body(body_bytes);
    MPEGTSSdt& sdt = ctx.sdt;
    sdt.section_length = body.be12(start + 1);
    sdt.transport_stream_id = body.be16(start + 3);
    sdt.original_network_id = body.be16(start + 8);
    const int version_byte = body.u8(start + 5);
    LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "section_len:%d", sdt.section_length);
    LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "transport_streamid:%d", sdt.transport_stream_id);
    LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "vrsion_num:%d", (version_byte >> 1) & 0x1F);
    LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "current_next_indicator:%d", version_byte & 1);
    LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "section_num:%d", body.u8(start + 6));
    LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "section_lastsec:%d", body.u8(start + 7));
    LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "original_network_id:%d", sdt.original_network_id);
    return true;
}

// Adds the packet's body to the buffer; -> false when the packet is no part of the table.
bool gather(MPEGTSContext& ctx, const uint8_t* body) {
    MPEGTSSdt& sdt = ctx.sdt;
    if (ctx.ts_head.payload_unit_start_indicator == 1) {
        if (!read_header(ctx, body)) return false;
        memcpy(sdt.section_buffer, body, zv::kTsBodySize);
    } else {
        LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "The psi hasnot pointer_filed in the first byte ");
        if (sdt.received + zv::kTsBodySize <= zv::kSdtBufferSize)
            memcpy(sdt.section_buffer + sdt.received, body, zv::kTsBodySize);
    }
    // A start after an unfinished section goes on counting; the length error below ends that.
    sdt.received = static_cast<uint16_t>(sdt.received + zv::kTsBodySize);
    return true;
}

}  // namespace

uint32_t mpegts_innerapi_filterSdt(MPEGTSContext* ctx, const uint8_t* pkt, uint8_t flags) {
    if (ctx == nullptr || pkt == nullptr || ctx->ts_head.pid != zv::kPidSdt) return 0;
    zv::check_table_continuity(*ctx, ctx->cc_sdt, "SDT", flags);
    MPEGTSSdt& sdt = ctx->sdt;
    if (sdt.service_count == ctx->totalnum_program) {
        mpegts_innerapi_getPeriod(&ctx->period_sdt);
        return 1;
    }
    if (!gather(*ctx, pkt + zv::kTsHeaderSize)) return 0;
    if (sdt.section_length == 0 || sdt.received + zv::kTsBodySize > zv::kSdtBufferSize ||
        sdt.section_length > zv::kSdtBufferSize) {
        sdt.received = 0;
        LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "Maybe sdt_section_len is error:%d,%ld",
               sdt.section_length, static_cast<long>(zv::kSdtBufferSize));
        return 0;
    }
    LOG_IF(DBG_SDT, zv::kLogDebug, "MPEGTS", "sdt_section_len_recv, sdt_section_len:%d,%d",
           sdt.received, sdt.section_length);
    if (sdt.received < sdt.section_length) return 1;
    return parse_section(*ctx);
}
