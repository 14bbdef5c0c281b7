// SPDX-License-Identifier: MIT
// Sections under new identifiers: the PAT, PMT and CAT of ISO/IEC 13818-1, the SDT and EIT of ETSI
// EN 300 468 and the virtual channel tables of ATSC A/65. They are as they were but for the
// identifiers, what is not copied, lengths and CRC.
#pragma once

#include <optional>
#include <vector>

#include "survey/psi/psi.h"
#include "ts/remap/identifiers.h"

namespace zvprobe {

// Is a table_id that of events of this stream's services, present/following or a schedule?
constexpr bool is_eit_actual(uint8_t table_id) {
    return table_id == zv::survey::kTableIdEitActual || (table_id >= 0x50 && table_id <= 0x5F);
}

// carries_pmt  in  the PID on which the section came is that of a PMT
// -> the section of the copy; nothing when it has none. What is no sound section of such a table is
//    returned as it came, so a wrong CRC stays wrong.
std::optional<std::vector<uint8_t>> rewrite_section(const zv::survey::Section& section,
                                                    uint16_t pid, bool carries_pmt,
                                                    const Identifiers& identifiers);

}  // namespace zvprobe
