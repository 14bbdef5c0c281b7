// SPDX-License-Identifier: MIT
// Which tables the indicators of ETSI TR 101 290 look at, and where they belong (EN 300 468, table 1).
#pragma once

#include <cstdint>
#include <optional>

#include "survey/records/indicators.h"

namespace zv::survey {

// -> true for the tables whose CRC_32 the indicator 2.2 looks at
bool is_crc_error_2_2(uint8_t table_id);

// -> the indicator of a table that does not belong on its PID
std::optional<Indicator> misplaced(uint16_t pid, uint8_t table_id);

// -> the indicator of a table whose sections of one sub-table must not follow too soon (EN 300 468,
// 5.1.4)
std::optional<Indicator> distance_indicator(uint16_t pid, uint8_t table_id);

}  // namespace zv::survey
