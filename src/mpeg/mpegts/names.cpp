// SPDX-License-Identifier: MIT
// Names of stream types (ISO/IEC 13818-1 table 2-34 and registered private values) and of service
// types (ETSI EN 300 468 table 87) as this library's reports spell them.
#include <cstdio>
#include <cstring>

#include "mpeg/mpegts/context.h"
#include "ts_tools.h"
#include "zvcommon.h"

namespace {

constexpr char kUnknownType[] = "unknow";
constexpr char kUnknownService[] = "unknow_servicetype";

struct TypeName {
    uint8_t type;
    const char* name;
};

constexpr TypeName kStreamTypes[] = {
    {0x01, "mpeg1v"},
    {0x02, "mpeg2v"},
    {0x03, "mpeg1a"},
    {0x04, "mpeg2a"},
    {0x05, "private_sections"},
    {0x06, "pes_private_data"},
    {0x07, "MHEG"},
    {0x08, "Annex A -DSM CC"},
    {0x09, "H.222.1"},
    {0x0a, "type A"},
    {0x0b, "type B"},
    {0x0c, "type C"},
    {0x0d, "type D"},
    {0x0e, "auxiliary"},
    {0x0f, "aac"},
    {0x10, "mpeg4"},
    {0x11, "aac_latm"},
    {0x12, "FlexMux_pes"},
    {0x13, "FlexMux_14496sec"},
    {0x14, "sync_download"},
    {0x15, "metadata"},
    {0x16, "metadata_sections"},
    {0x17, "138186DataCarousel"},
    {0x18, "138186ObjectCarousel"},
    {0x19, "138186sync_download"},
    {0x1a, "mpeg2_ipmp"},
    {0x1b, "h264"},
    {0x24, "hevc"},
    {0x42, "cavs"},
    {0x7f, "ipmp"},
    {0x81, "ac3"},
    {0x82, "dts"},
    {0x83, "truehd"},
    {0x86, "sit"},
    {0x87, "eac3"},
    {0xd1, "dirac"},
    {0xea, "vc1"},
};

constexpr TypeName kServiceTypes[] = {
    {0x01, "digital_tv"},
    {0x02, "digital_radio"},
    {0x03, "teletext"},
    {0x0a, "advanced_codec_digital_radio"},
    {0x11, "mpeg2_digital_hdtv"},
    {0x16, "advanced_codec_digital_sdtv"},
    {0x19, "advanced_codec_digital_hdtv"},
};

template <size_t Size, size_t Named>
void fill_once(const char* (&table)[Size], const TypeName (&named)[Named], const char* unknown) {
    if (table[0] != nullptr) return;
    for (const char*& name : table)
        name = unknown;
    for (const TypeName& entry : named)
        table[entry.type] = entry.name;
}

// At load, so that contexts may be created in any number of threads at once.
[[gnu::constructor]] void fill_at_load() {
    mpegts_innerapi_fillNames();
}

template <size_t Size>
const char* name_of(const char* const (&table)[Size], uint32_t type, const char* unknown) {
    return type < Size && table[type] != nullptr ? table[type] : unknown;
}

}  // namespace

extern "C" {
const char* str_avtype[kAvTypeCount];
const char* str_servicetype[kServiceTypeCount];
}

void mpegts_innerapi_fillNames(void) {
    fill_once(str_avtype, kStreamTypes, kUnknownType);
    fill_once(str_servicetype, kServiceTypes, kUnknownService);
}

void mpegts_innerapi_getAVTypeString(uint32_t streamType, char* out) {
    memset(out, 0, 8);
    strcpy(out, name_of(str_avtype, streamType, kUnknownType));
}

void mpegts_innerapi_getServiceTypeString(StreamInfoProgram* dst, const MPEGTSService* service,
                                          MPEGTSContext* /*context*/) {
    snprintf(dst->service_type, sizeof dst->service_type, "%s",
             name_of(str_servicetype, service->service_type, kUnknownService));
}

int mpegts_api_isFileNMpegts(int flag, const char* url, const char* format) {
    if (flag != 0) return 0;
    if (url != nullptr && zvstr_api_isCasestr(url, ".ts")) return 0;
    return format == nullptr || strcmp(format, "mpegts") != 0;
}

int mpegts_api_isMpeg(const char* format, uint16_t flag) {
    if (flag != 0) return 1;
    if (format == nullptr) return 0;
    return strcmp(format, "mpegts") == 0 || strcmp(format, "hls") == 0 ||
           strcmp(format, "rtp_mpegts") == 0;
}

int mpegts_api_isMpeg2(const char* format) {
    if (format == nullptr) return 0;
    return mpegts_api_isMpeg(format, 0) || strcmp(format, "rtp") == 0;
}
