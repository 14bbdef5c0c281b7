// SPDX-License-Identifier: MIT
// What reader, probe and writer know of tags: decoding a tag's header, its
// size word and the codec header of its body from bytes of known extent.
#pragma once

#include <cstdint>

#include "flv.h"
#include "flv/byte_reader.h"
#include "flv/tag_fields.h"

namespace zv::flv {

struct TagHeader {
    uint8_t filter = 0;
    uint8_t type = 0;
    uint32_t data_len = 0;
    int8_t timestamp = 0;
};

TagHeader read_tag_header(const uint8_t* header);  // 11 bytes

// Compares the size word after a body of data_len bytes; a wrong one is logged.
bool size_word_matches(ByteReader body, uint32_t data_len, uint32_t* size_word);

// Each reads the codec header at the reader's position and leaves the reader after it. Members
// that belong to one codec only are left alone for the others.
void read_audio_header(ByteReader* body, FLVAudioTag* tag);
void read_video_header(ByteReader* body, FLVVideoTag* tag);

// The reader's decoders, for a body that may be shorter than context->data_len claims.
void decode_audio(FLVContext* context, ByteReader body, bool print);
void decode_video(FLVContext* context, ByteReader body, bool print);

}  // namespace zv::flv
