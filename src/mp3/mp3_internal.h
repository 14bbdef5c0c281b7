// SPDX-License-Identifier: MIT
// The field decoders and constant tables of the MPEG audio module. Header bytes are numbered b0..b3
// as they stand in the stream.
#pragma once

#include <cstdint>

#include "mp3.h"

extern "C" {

constexpr int kMp3BitrateRows = 16;  // bit-rate index
constexpr int kMp3BitrateColumns = 6;
constexpr int kMp3SamplerateRows = 4;  // sampling-frequency index
constexpr int kMp3SamplerateColumns = 3;

// kbit/s; columns: MPEG-1 Layer I, II, III, MPEG-2/2.5 Layer I, II, III. -1: "free" and "bad".
extern const int32_t mp3_tables_bitrate[kMp3BitrateRows][kMp3BitrateColumns];

// The same for display; in brackets the value that the published MPEG-2 tables give.
extern const char* const mp3_tables_bitrate_string[kMp3BitrateRows][kMp3BitrateColumns];

// Hz; columns: MPEG-1, MPEG-2, MPEG-2.5. -1: reserved.
extern const int32_t mp3_tables_samplerate[kMp3SamplerateRows][kMp3SamplerateColumns];

// Each decodes one field of the four header bytes into the record: 1 success, 0 reserved value.
// Bit rate and sampling rate need version and layer to be set.
unsigned mp3_innerapi_getVersion(MP3HeaderInfo* info, const uint8_t* header);
unsigned mp3_innerapi_getLayerVer(MP3HeaderInfo* info, const uint8_t* header);
unsigned mp3_innerapi_getBitRate(MP3HeaderInfo* info, const uint8_t* header);
unsigned mp3_innerapi_getSimpleRate(MP3HeaderInfo* info, const uint8_t* header);
unsigned mp3_innerapi_getChannelMode(MP3HeaderInfo* info, const uint8_t* header);

}  // extern "C"
