// SPDX-License-Identifier: MIT
// Script data: the AMF0 type markers, parsing a body into a table, and what is done with the table.
#pragma once

#include <cstdint>

#include "flv.h"
#include "flv/byte_reader.h"

namespace zv::flv {

enum AmfType : uint8_t {
    kAmfNumber = 0,
    kAmfBoolean = 1,
    kAmfString = 2,
    kAmfObject = 3,
    kAmfMovieClip = 4,
    kAmfNull = 5,
    kAmfUndefined = 6,
    kAmfReference = 7,
    kAmfEcmaArray = 8,
    kAmfObjectEnd = 9,
    kAmfStrictArray = 10,
    kAmfDate = 11,
    kAmfLongString = 12,
};

// Parses a script body of data_len bytes, as far as it is there. Without a table nothing is
// stored. -> bytes consumed
uint64_t parse_script(ByteReader body, uint32_t data_len, AMFTable* table);

// Logs the table's entries, and picks the well-known values out of them.
void log_script(const AMFTable& table);
void summarise_script(const AMFTable& table, FLVMetadata* metadata);

}  // namespace zv::flv
