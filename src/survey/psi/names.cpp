// SPDX-License-Identifier: MIT
// Implementation of names.h: ranges in ascending order, the first that reaches a number names it.
#include "survey/psi/names.h"

#include <span>

namespace zv::survey {
namespace {

struct NamedUpTo {
    uint8_t last;
    const char* name;
};

const char* name_in(std::span<const NamedUpTo> names, uint8_t number) {
    for (const NamedUpTo& named : names)
        if (number <= named.last) return named.name;
    return nullptr;
}

// ISO/IEC 13818-1, table 2-31; EN 300 468, table 2; ATSC A/65, table 4.1; ANSI/SCTE 35.
constexpr NamedUpTo kTables[] = {
    {0x00, "PAT"},
    {0x01, "CAT"},
    {0x02, "PMT"},
    {0x03, "TSDT"},
    {0x04, "ISO/IEC 14496 scene"},
    {0x05, "ISO/IEC 14496 objects"},
    {0x06, "metadata"},
    {0x07, "IPMP"},
    {0x39, nullptr},
    {0x3A, "DSM-CC multiprotocol"},
    {0x3B, "DSM-CC U-N messages"},
    {0x3C, "DSM-CC download data"},
    {0x3D, "DSM-CC stream descriptors"},
    {0x3E, "DSM-CC private"},
    {0x3F, "DSM-CC addressable"},
    {0x40, "NIT actual"},
    {0x41, "NIT other"},
    {0x42, "SDT actual"},
    {0x45, nullptr},
    {0x46, "SDT other"},
    {0x49, nullptr},
    {0x4A, "BAT"},
    {0x4B, "UNT"},
    {0x4C, "INT"},
    {0x4D, "SAT"},
    {0x4E, "EIT present/following actual"},
    {0x4F, "EIT present/following other"},
    {0x5F, "EIT schedule actual"},
    {0x6F, "EIT schedule other"},
    {0x70, "TDT"},
    {0x71, "RST"},
    {0x72, "stuffing"},
    {0x73, "TOT"},
    {0x74, "AIT"},
    {0x75, "container"},
    {0x76, "related content"},
    {0x77, "content identifier"},
    {0x78, "MPE-FEC"},
    {0x79, "resolution provider notification"},
    {0x7A, "MPE-IFEC"},
    {0x7B, "protection message"},
    {0x7D, nullptr},
    {0x7E, "DIT"},
    {0x7F, "SIT"},
    {0x81, "ECM"},
    {0x8F, "CA message"},
    {0xC6, nullptr},
    {0xC7, "MGT"},
    {0xC8, "TVCT"},
    {0xC9, "CVCT"},
    {0xCA, "RRT"},
    {0xCB, "EIT (ATSC)"},
    {0xCC, "ETT"},
    {0xCD, "STT"},
    {0xFB, nullptr},
    {0xFC, "splice information"},
    {0xFF, nullptr},
};

// In the words of EN 300 468, shortened.
constexpr NamedUpTo kServiceTypes[] = {
    {0x00, "reserved"},
    {0x01, "digital television"},
    {0x02, "digital radio"},
    {0x03, "teletext"},
    {0x04, "NVOD reference"},
    {0x05, "NVOD time-shifted"},
    {0x06, "mosaic"},
    {0x07, "FM radio"},
    {0x08, "DVB SRM"},
    {0x09, "reserved"},
    {0x0A, "advanced codec digital radio"},
    {0x0B, "H.264 mosaic"},
    {0x0C, "data broadcast"},
    {0x0D, "reserved (Common Interface)"},
    {0x0E, "RCS map"},
    {0x0F, "RCS FLS"},
    {0x10, "DVB MHP"},
    {0x11, "MPEG-2 HD digital television"},
    {0x15, "reserved"},
    {0x16, "H.264 SD digital television"},
    {0x17, "H.264 SD NVOD time-shifted"},
    {0x18, "H.264 SD NVOD reference"},
    {0x19, "H.264 HD digital television"},
    {0x1A, "H.264 HD NVOD time-shifted"},
    {0x1B, "H.264 HD NVOD reference"},
    {0x1C, "H.264 stereoscopic HD digital television"},
    {0x1D, "H.264 stereoscopic HD NVOD time-shifted"},
    {0x1E, "H.264 stereoscopic HD NVOD reference"},
    {0x1F, "HEVC digital television"},
    {0x20, "HEVC UHD digital television"},
    {0x21, "VVC digital television"},
    {0x22, "AVS3 digital television"},
    {0x7F, "reserved"},
    {0xFE, "user defined"},
    {0xFF, "reserved"},
};

constexpr NamedUpTo kAtscServiceTypes[] = {
    {0x00, "reserved"},
    {0x01, "analogue television"},
    {0x02, "ATSC digital television"},
    {0x03, "ATSC audio"},
    {0x04, "ATSC data only"},
    {0x05, "ATSC software download"},
    {0x06, "unassociated or small screen"},
    {0x07, "parameterized"},
    {0x08, "ATSC NRT"},
    {0x09, "extended parameterized"},
    {0xFF, "reserved"},
};

}  // namespace

const char* table_name(uint8_t table_id) {
    return name_in(kTables, table_id);
}

const char* service_type_name(uint8_t type) {
    return name_in(kServiceTypes, type);
}

const char* atsc_service_type_name(uint8_t type) {
    return name_in(kAtscServiceTypes, type);
}

}  // namespace zv::survey
