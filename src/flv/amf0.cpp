// SPDX-License-Identifier: MIT
// AMF0 script data into a flat table of named values. Numbers, booleans and texts are stored,
// objects and ECMA arrays are walked, every other type is passed over by its type byte alone.
#include <algorithm>
#include <bit>
#include <cstring>

#include "bitStream/log.h"
#include "flv/flv_internal.h"
#include "flv/script.h"

namespace zv::flv {
namespace {

constexpr int kMaxNesting = 32;
constexpr size_t kMaxKey = 31;

// The extent when no length is given; small enough that sums stay within 32 bits.
constexpr size_t kVouched = size_t{1} << 30;

class ScriptParser {
  public:
    ScriptParser(ByteReader bytes, AMFTable* table) : bytes_(bytes), table_(table) {}

    size_t position() const { return bytes_.position(); }
    bool at_end() const { return bytes_.remaining() == 0; }

    void value(int32_t index, int32_t remaining, uint8_t* end);
    void ecma_array();
    void object(int32_t remaining);

  private:
    bool stores(int32_t index) const {
        return table_ != nullptr && index >= 0 && index < ZV_FLV_AMF_ENTRIES;
    }
    void set_count(uint32_t count) {
        if (table_ != nullptr) table_->count = count;
    }

    uint32_t string_length();
    void key(int32_t index);
    void store(int32_t index, AmfType type, const void* bytes, size_t size);
    void text(int32_t index, AmfType type, size_t size);
    void number(int32_t index);
    void boolean(int32_t index);
    void nested(AmfType type, int32_t remaining);

    ByteReader bytes_;
    AMFTable* table_;
    int nesting_ = 0;
};

uint32_t ScriptParser::string_length() {
    const uint8_t length[2] = {bytes_.u8(), bytes_.u8()};
    return flv_innerapi_getstringlen(length);
}

void ScriptParser::key(int32_t index) {
    const auto name = bytes_.take(string_length());
    // A slot is overwritten, not cleared: a shorter name leaves the tail of the one before.
    if (stores(index) && !name.empty())
        memcpy(table_->keys[index], name.data(), std::min(name.size(), kMaxKey));
}

void ScriptParser::store(int32_t index, AmfType type, const void* bytes, size_t size) {
    if (!stores(index)) return;
    table_->types[index] = type;
    if (size != 0) memcpy(table_->values[index], bytes, std::min<size_t>(size, ZV_FLV_AMF_SLOT));
}

void ScriptParser::text(int32_t index, AmfType type, size_t size) {
    const auto bytes = bytes_.take(size);
    store(index, type, bytes.data(), bytes.size());
}

void ScriptParser::number(int32_t index) {
    const double host_order = std::bit_cast<double>(bytes_.be64());
    store(index, kAmfNumber, &host_order, sizeof host_order);
}

void ScriptParser::boolean(int32_t index) {
    const uint8_t byte = bytes_.u8();
    store(index, kAmfBoolean, &byte, sizeof byte);
}

// Nesting that is deeper than in any real file is skipped by its type byte, like unknown values:
// the input must not choose how much stack is used.
void ScriptParser::nested(AmfType type, int32_t remaining) {
    if (nesting_ == kMaxNesting) return;
    ++nesting_;
    if (type == kAmfEcmaArray) {
        ecma_array();
    } else {
        object(remaining);
    }
    --nesting_;
}

void ScriptParser::value(int32_t index, int32_t remaining, uint8_t* end) {
    const uint8_t type = bytes_.u8();
    switch (type) {
        case kAmfNumber:
            return number(index);
        case kAmfBoolean:
            return boolean(index);
        case kAmfString:
            return text(index, kAmfString, string_length());
        case kAmfLongString:
            return text(index, kAmfLongString, bytes_.be32());
        case kAmfObject:
        case kAmfEcmaArray:
            return nested(static_cast<AmfType>(type),
                          static_cast<int32_t>(static_cast<uint32_t>(remaining) - 1));
        case kAmfObjectEnd:
            if (end != nullptr) *end = 1;
            return;
        case kAmfMovieClip:
        case kAmfNull:
        case kAmfUndefined:
        case kAmfReference:
        case kAmfStrictArray:
        case kAmfDate:
            return;
        default:
            LOG(kLogDebug, "FLV", "type---------%d(%c)[0-12]", type, type);
    }
}

void ScriptParser::ecma_array() {
    const uint8_t count_bytes[4] = {bytes_.u8(), bytes_.u8(), bytes_.u8(), bytes_.u8()};
    const uint32_t count = flv_innerapi_getkeylen(count_bytes);
    set_count(count);
    for (int32_t i = 0; i < static_cast<int32_t>(count) && !at_end(); ++i) {
        key(i);
        // An array does not know its extent, so an object in it finds no bytes of its own: its
        // properties are read as entries of the array.
        value(i, -1, nullptr);
    }
    if (bytes_.peek(0) == 0 && bytes_.peek(1) == 0 && bytes_.peek(2) == kAmfObjectEnd)
        bytes_.skip(3);
}

void ScriptParser::object(int32_t remaining) {
    const size_t start = position();
    const auto left = [&] {
        return static_cast<int32_t>(static_cast<uint32_t>(remaining) -
                                    static_cast<uint32_t>(position() - start));
    };
    int32_t i = 0;
    uint8_t end = 0;
    while (left() > 0 && !at_end()) {
        key(i);
        value(i, left(), &end);
        if (end == 1) break;
        ++i;
    }
    set_count(static_cast<uint32_t>(i));
}

}  // namespace

uint64_t parse_script(ByteReader body, uint32_t data_len, AMFTable* table) {
    const auto bytes = body.take(data_len);
    ScriptParser parser(ByteReader(bytes.data(), bytes.size()), table);
    while (parser.position() < data_len && !parser.at_end())
        parser.value(-1, static_cast<int32_t>(data_len - parser.position()), nullptr);
    return parser.position();
}

}  // namespace zv::flv

uint8_t flv_innerapi_getpayload_script(FLVContext* context, const uint8_t* body,
                                       uint8_t /*print*/) {
    return static_cast<uint8_t>(zv::flv::parse_script(zv::flv::ByteReader(body, context->data_len),
                                                      context->data_len, &context->payload.script));
}

int32_t flv_innerapi_parsescript(const uint8_t* p, AMFTable* table, int32_t index,
                                 int32_t remaining, uint8_t* end) {
    using namespace zv::flv;
    const size_t extent = remaining > 0 ? static_cast<size_t>(remaining) : kVouched;
    ScriptParser parser(ByteReader(p, extent), table);
    parser.value(index, remaining, end);
    return static_cast<int32_t>(parser.position());
}

int32_t flv_innerapi_parseecmaarray(const uint8_t* p, AMFTable* table) {
    using namespace zv::flv;
    ScriptParser parser(ByteReader(p, kVouched), table);
    parser.ecma_array();
    return static_cast<int32_t>(parser.position());
}

int32_t flv_innerapi_parseobject(const uint8_t* p, AMFTable* table, uint32_t remaining) {
    using namespace zv::flv;
    ScriptParser parser(ByteReader(p, std::min<size_t>(remaining, kVouched)), table);
    parser.object(static_cast<int32_t>(remaining));
    return static_cast<int32_t>(parser.position());
}
