// SPDX-License-Identifier: MIT
// Names of what tables number, as the standards have them.
#pragma once

#include <cstdint>

namespace zv::survey {

// -> the name of a table, null for private ones
const char* table_name(uint8_t table_id);

// -> the name of a service_type of EN 300 468, table 89
const char* service_type_name(uint8_t type);

// -> the name of a service_type of ATSC A/53
const char* atsc_service_type_name(uint8_t type);

}  // namespace zv::survey
