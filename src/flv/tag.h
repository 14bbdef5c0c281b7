// SPDX-License-Identifier: MIT
// What reader, probe and writer know of tags: flags of the headers, and decoding a tag's header, its
// size word and the codec header of its body from bytes of known extent.
#pragma once

#include <cstdint>

#include "flv.h"
#include "flv/byte_reader.h"

namespace zv::flv {

// Flags of the file header, and of a tag header beside the tag's type.
constexpr uint8_t kHasAudioBit = 0x04;
constexpr uint8_t kHasVideoBit = 0x01;
constexpr uint8_t kFilterBit = 0x20;
constexpr uint8_t kTagTypeMask = 0x1F;

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
