// SPDX-License-Identifier: MIT
// The FLV module's own operations: the container reader, the payload decoders, the AMF0 parser and
// the bit writer. Where no length is given, the caller guarantees the bytes.
#pragma once

#include <cstdint>

#include "flv.h"

extern "C" {

// --- container reader: a file is getflvheader, getpretagsize, then per tag getbodytag and
// getbodypayload, on a context whose payload was cleared before each tag.

void flv_innerapi_getflvheader(FLVContext* context, const uint8_t* header);      // 9 bytes
void flv_innerapi_getpretagsize(FLVContext* context, const uint8_t* size_word);  // 4 bytes
int8_t flv_innerapi_getbodytag(FLVContext* context, const uint8_t* tag_header,   // 11 bytes
                               uint8_t print);

// Decodes a body of context->data_len bytes; with check 1 its size word stands after it and is
// compared first. -> 0, or 255 when the size word is wrong and nothing was decoded.
uint8_t flv_innerapi_getbodypayload(FLVContext* context, const uint8_t* body, uint8_t print,
                                    uint8_t check);

// --- payloads of context->data_len bytes.

// -> the first byte after the codec header.
const uint8_t* flv_innerapi_getpayload_aduio(FLVContext* context, const uint8_t* body,
                                             uint8_t print);
const uint8_t* flv_innerapi_getpayload_video(FLVContext* context, const uint8_t* body,
                                             uint8_t print);
// -> bytes consumed, modulo 256.
uint8_t flv_innerapi_getpayload_script(FLVContext* context, const uint8_t* body, uint8_t print);

// --- AMF0; every function returns the bytes consumed.

// Parses the value at p into entry `index`; a negative index, or one beyond the table, stores
// nothing. A positive `remaining` is the extent of the bytes; objects need it. `end` (may be null)
// becomes 1 at an object-end marker.
int32_t flv_innerapi_parsescript(const uint8_t* p, AMFTable* table, int32_t index,
                                 int32_t remaining, uint8_t* end);
int32_t flv_innerapi_parseecmaarray(const uint8_t* p, AMFTable* table);
int32_t flv_innerapi_parseobject(const uint8_t* p, AMFTable* table, uint32_t remaining);

uint32_t flv_innerapi_getstringlen(const uint8_t* p);  // 2 bytes
uint32_t flv_innerapi_getkeylen(const uint8_t* p);     // 4 bytes
uint8_t flv_innerapi_getbool(const uint8_t* p);
double flv_innerapi_getzv_double(const uint8_t* p);  // 8 bytes
void flv_innerapi_setzv_double(double value, uint8_t* p);

// --- bit writer, most significant bit first.

// Appends the low n bits (1..31; otherwise nothing) of a value that has no more bits than that.
// A 32-bit word that no longer fits the output is dropped and reported through av_log.
void put_bits(PutBitContext* writer, int32_t n, uint32_t value);
void put_bits32(PutBitContext* writer, uint32_t value);

}  // extern "C"
