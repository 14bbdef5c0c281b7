// SPDX-License-Identifier: MIT
// An FLV file walked as a host does: header, first size word, then tag by tag, each piece a block
// of its own length. Wrong size words can be made right, so that bodies are decoded.
#include "bitStream/big_endian.h"
#include "flv/flv_internal.h"
#include "parts/input.h"
#include "parts/log_double.h"

namespace {

struct Options {
    bool repair_size_words;
    bool check_size_words;
    uint8_t print;
};

// -> false at the end of the file
bool walk_tag(FLVContext* context, fuzz::ByteSource& in, const Options& options) {
    fuzz::ExactBytes header(in.take(ZV_FLV_TAG_HEADER_SIZE));
    if (header.size() < ZV_FLV_TAG_HEADER_SIZE) return false;
    memset(&context->payload, 0, sizeof context->payload);
    flv_innerapi_getbodytag(context, header.data(), options.print);

    const size_t size_word = options.check_size_words ? ZV_FLV_PREVIOUS_TAG_SIZE : 0;
    fuzz::ExactBytes body(in.take(context->data_len + size_word));
    if (body.size() < context->data_len + size_word) return false;
    if (options.check_size_words && options.repair_size_words)
        zv::store_big_endian(body.span().last(size_word),
                             context->data_len + ZV_FLV_TAG_HEADER_SIZE);
    const uint8_t result = flv_innerapi_getbodypayload(context, body.data(), options.print,
                                                       options.check_size_words ? 1 : 0);
    fuzz::require(result == 0 || (result == 255 && !options.repair_size_words),
                  "a right size word is accepted");
    fuzz::require(context->aac_config_len <= sizeof context->aac_config &&
                      context->avc_config_len <= sizeof context->avc_config,
                  "configuration records fit");
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteSource in(data, size);
    const uint8_t mode = fuzz::take_mode(in);
    const Options options = {
        .repair_size_words = (mode & 1) != 0,
        .check_size_words = (mode & 2) == 0,
        .print = static_cast<uint8_t>(mode & 4),
    };
    const auto context = std::make_unique<FLVContext>();
    memset(context.get(), 0, sizeof *context);
    fuzz::ExactBytes header(in.take(ZV_FLV_FILE_HEADER_SIZE));
    fuzz::ExactBytes size_word(in.take(ZV_FLV_PREVIOUS_TAG_SIZE));
    if (size_word.size() < ZV_FLV_PREVIOUS_TAG_SIZE) return 0;
    flv_innerapi_getflvheader(context.get(), header.data());
    flv_innerapi_getpretagsize(context.get(), size_word.data());
    while (walk_tag(context.get(), in, options)) {
    }
    return 0;
}
