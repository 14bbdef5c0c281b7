// SPDX-License-Identifier: MIT
// Implementation of amf_writer.h.
#include "flv/amf_writer.h"

#include <bit>

#include "base/bytes.h"
#include "flv/tag_fields.h"

namespace zvprobe {

using namespace zv::flv;

void AmfWriter::name(std::string_view text) {
    append_big_endian(bytes_, text.size(), 2);
    bytes_.insert(bytes_.end(), text.begin(), text.end());
}

void AmfWriter::number(double value) {
    bytes_.push_back(kAmfNumber);
    append_big_endian(bytes_, std::bit_cast<uint64_t>(value), 8);
}

void AmfWriter::text(std::string_view value) {
    bytes_.push_back(kAmfString);
    name(value);
}

void AmfWriter::begin_array(uint32_t count) {
    bytes_.push_back(kAmfEcmaArray);
    append_big_endian(bytes_, count, 4);
}

void AmfWriter::begin_object(std::string_view key) {
    name(key);
    bytes_.push_back(kAmfObject);
}

void AmfWriter::end() {
    name({});
    bytes_.push_back(kAmfObjectEnd);
}

void AmfWriter::number(std::string_view key, double value) {
    name(key);
    number(value);
}

void AmfWriter::boolean(std::string_view key, bool value) {
    name(key);
    bytes_.insert(bytes_.end(), {kAmfBoolean, static_cast<uint8_t>(value ? 1 : 0)});
}

void AmfWriter::numbers(std::string_view key, std::span<const double> values) {
    name(key);
    bytes_.push_back(kAmfStrictArray);
    append_big_endian(bytes_, values.size(), 4);
    for (const double value : values)
        number(value);
}

void AmfWriter::raw(std::string_view key, std::span<const uint8_t> value) {
    name(key);
    append(value);
}

void AmfWriter::append(std::span<const uint8_t> members) {
    bytes_.insert(bytes_.end(), members.begin(), members.end());
}

}  // namespace zvprobe
