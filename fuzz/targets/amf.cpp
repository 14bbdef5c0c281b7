// SPDX-License-Identifier: MIT
// The AMF0 reader over script bodies of exactly the length that the tag gives, through the reader's
// entry, its payload function, and the functions for a single value or object.
#include "flv/flv_internal.h"
#include "parts/input.h"
#include "parts/log_double.h"

namespace {

constexpr size_t kMaxKey = 31;

std::unique_ptr<FLVContext> cleared_context(size_t data_len) {
    auto context = std::make_unique<FLVContext>();
    memset(context.get(), 0, sizeof *context);
    context->flags_tagtype = ZV_FLV_TAG_SCRIPT;
    context->data_len = static_cast<uint32_t>(data_len);
    return context;
}

void require_short_keys(const AMFTable& table) {
    for (const char* key : table.keys)
        fuzz::require(key[kMaxKey] == '\0', "keys are cut to 31 characters");
}

void read_body(fuzz::ExactBytes& body) {
    const auto context = cleared_context(body.size());
    flv_innerapi_getpayload_script(context.get(), body.data(), 1);
    require_short_keys(context->payload.script);

    const auto walked = cleared_context(body.size());
    fuzz::require(flv_innerapi_getbodypayload(walked.get(), body.data(), 1, 0) == 0,
                  "a body without a size word is always decoded");
    fuzz::require(memcmp(&context->payload, &walked->payload, sizeof context->payload) == 0,
                  "both entries fill the same table");
    const FLVMetadata& summary = walked->metadata;
    fuzz::require(memchr(summary.creationdate, 0, sizeof summary.creationdate) != nullptr,
                  "the creation date is terminated");
}

// A value that is no object fills its own slot at most.
void require_one_slot(const AMFTable& table, int32_t index) {
    static constexpr uint8_t kUntouched[ZV_FLV_AMF_SLOT] = {};
    for (int32_t i = 0; i < ZV_FLV_AMF_ENTRIES; ++i)
        fuzz::require(i == index || memcmp(table.values[i], kUntouched, ZV_FLV_AMF_SLOT) == 0,
                      "a value stays in its slot");
}

// A value or an object in a slot of its own, with its extent given.
void read_value(fuzz::ByteSource& in) {
    const auto context = cleared_context(0);
    AMFTable* table = &context->payload.script;
    const auto index = static_cast<int32_t>(static_cast<int16_t>(in.u16()));
    const bool as_object = (in.u8() & 1) != 0;
    fuzz::ExactBytes body(in.rest());
    if (body.size() == 0) return;
    uint8_t end = 0;
    const int32_t used =
        as_object ? flv_innerapi_parseobject(body.data(), table, static_cast<uint32_t>(body.size()))
                  : flv_innerapi_parsescript(body.data(), table, index, body.length(), &end);
    fuzz::require(used > 0, "a reader of bytes moves on");
    require_short_keys(*table);
    constexpr uint8_t kObject = 3, kEcmaArray = 8;
    const bool is_single = !as_object && body.data()[0] != kObject && body.data()[0] != kEcmaArray;
    if (is_single) require_one_slot(*table, index);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ByteSource in(data, size);
    const uint8_t mode = fuzz::take_mode(in);
    if (mode & 1) {
        read_value(in);
    } else {
        fuzz::ExactBytes body(in.rest());
        read_body(body);
    }
    return 0;
}
