// SPDX-License-Identifier: MIT
// Script data: parsing a body into a table, and what is done with the table.
#pragma once

#include <cstdint>

#include "flv.h"
#include "flv/byte_reader.h"
#include "flv/tag_fields.h"

namespace zv::flv {

// Parses a script body of data_len bytes, as far as it is there. Without a table nothing is
// stored. -> bytes consumed
uint64_t parse_script(ByteReader body, uint32_t data_len, AMFTable* table);

// Logs the table's entries, and picks the well-known values out of them.
void log_script(const AMFTable& table);
void summarise_script(const AMFTable& table, FLVMetadata* metadata);

}  // namespace zv::flv
