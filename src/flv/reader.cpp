// SPDX-License-Identifier: MIT
// The container reader: file header, tag headers, size words, and the way from a tag's type to its
// decoder. It does no I/O; the caller moves through the file.
#include "bitStream/log.h"
#include "flv/flv_internal.h"
#include "flv/script.h"
#include "flv/tag.h"

namespace zv::flv {
namespace {

constexpr uint8_t kSizeMismatch = 255;

void log_rule() {
    LOG(kLogDebug, "FLV", "================================================");
}

void log_tag_header(const FLVContext& context) {
    LOG(kLogDebug, "FLV", "=TAG  INFO\t");
    LOG(kLogDebug, "FLV", "flags_tagtype,flags_hasfilter:%d,%d", context.flags_tagtype,
        context.flags_hasfilter);
    LOG(kLogDebug, "FLV", "data_len:%d", static_cast<int>(context.data_len));
    LOG(kLogDebug, "FLV", "timestramp:%u", static_cast<unsigned>(int{context.timestamp}));
    LOG(kLogDebug, "FLV", "streamid:%d", static_cast<int>(context.streamid));
}

void decode_script(FLVContext* context, ByteReader body, bool print) {
    parse_script(body, context->data_len, &context->payload.script);
    if (print) log_script(context->payload.script);
    summarise_script(context->payload.script, &context->metadata);
}

void decode_body(FLVContext* context, ByteReader body, bool print) {
    switch (context->flags_tagtype) {
        case ZV_FLV_TAG_VIDEO:
            if (print) LOG(kLogDebug, "FLV", "=VIDEO");
            decode_video(context, body, print);
            break;
        case ZV_FLV_TAG_SCRIPT:
            if (print) LOG(kLogDebug, "FLV", "=SCRIPTDATA");
            decode_script(context, body, print);
            break;
        case ZV_FLV_TAG_AUDIO:
            if (print) LOG(kLogDebug, "FLV", "=AUDIO");
            decode_audio(context, body, print);
            break;
        default:
            break;
    }
}

}  // namespace

TagHeader read_tag_header(const uint8_t* header) {
    ByteReader reader(header, ZV_FLV_TAG_HEADER_SIZE);
    TagHeader tag;
    const uint8_t flags = reader.u8();
    tag.filter = (flags & kFilterBit) != 0 ? 1 : 0;
    tag.type = flags & kTagTypeMask;
    tag.data_len = reader.be24();
    // The field is one byte wide, so all that is kept of the timestamp is its extension byte.
    reader.skip(3);
    tag.timestamp = static_cast<int8_t>(reader.u8());
    return tag;
}

bool size_word_matches(ByteReader body, uint32_t data_len, uint32_t* size_word) {
    const uint32_t expected = data_len + ZV_FLV_TAG_HEADER_SIZE;
    body.skip(data_len);
    *size_word = body.be32();
    if (*size_word == expected) return true;
    LOG(kLogError, "FLV", "Data error(%d !=%d)!", static_cast<int>(expected),
        static_cast<int>(*size_word));
    return false;
}

}  // namespace zv::flv

void flv_innerapi_getflvheader(FLVContext* context, const uint8_t* header) {
    using namespace zv::flv;
    ByteReader reader(header, ZV_FLV_FILE_HEADER_SIZE);
    for (uint8_t& byte : context->signature)
        byte = reader.u8();
    context->version = reader.u8();
    const uint8_t flags = reader.u8();
    context->flags_hasaudio = (flags & kHasAudioBit) != 0 ? 1 : 0;
    context->flags_hasvideo = (flags & kHasVideoBit) != 0 ? 1 : 0;
    context->headerlen = reader.be32();

    log_rule();
    LOG(zv::kLogDebug, "FLV", "=\tFLV HEADER INFO\t");
    LOG(zv::kLogDebug, "FLV", "sysnc:%c%c%c", context->signature[0], context->signature[1],
        context->signature[2]);
    LOG(zv::kLogDebug, "FLV", "version:%d", context->version);
    LOG(zv::kLogDebug, "FLV", "flags has video:%d", context->flags_hasvideo);
    LOG(zv::kLogDebug, "FLV", "flags has audio:%d", context->flags_hasaudio);
    LOG(zv::kLogDebug, "FLV", "headerlen:%d", static_cast<int>(context->headerlen));
    log_rule();
}

void flv_innerapi_getpretagsize(FLVContext* context, const uint8_t* size_word) {
    context->tagsize0 = zv::flv::ByteReader(size_word, ZV_FLV_PREVIOUS_TAG_SIZE).be32();
    LOG(zv::kLogDebug, "FLV", "TagSize0:%d", static_cast<int>(context->tagsize0));
}

int8_t flv_innerapi_getbodytag(FLVContext* context, const uint8_t* tag_header, uint8_t print) {
    const zv::flv::TagHeader tag = zv::flv::read_tag_header(tag_header);
    context->flags_hasfilter = static_cast<int8_t>(tag.filter);
    context->flags_tagtype = tag.type;
    context->data_len = tag.data_len;
    context->timestamp = tag.timestamp;
    if (print) zv::flv::log_tag_header(*context);
    return static_cast<int8_t>(context->data_len);
}

uint8_t flv_innerapi_getbodypayload(FLVContext* context, const uint8_t* body, uint8_t print,
                                    uint8_t check) {
    using namespace zv::flv;
    const bool has_size_word = check == 1;
    const ByteReader bytes(
        body, size_t{context->data_len} + (has_size_word ? ZV_FLV_PREVIOUS_TAG_SIZE : 0));
    if (has_size_word) {
        if (!size_word_matches(bytes, context->data_len, &context->tagsizex)) return kSizeMismatch;
        if (print) LOG(zv::kLogDebug, "FLV", "TagSizex:%d", static_cast<int>(context->tagsizex));
    }
    decode_body(context, bytes, print != 0);
    return 0;
}
