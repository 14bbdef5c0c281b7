// SPDX-License-Identifier: MIT
// Implementation of amf_values.h: a reader that never leaves the body, and gives up where the body
// makes no sense.
#include "flv/amf_values.h"

#include <algorithm>
#include <bit>

#include "base/bytes.h"
#include "flv/tag_fields.h"

namespace zvprobe {
namespace {

using namespace zv::flv;

class AmfReader {
  public:
    AmfReader(std::span<const uint8_t> body, size_t most_values)
        : rest_(body), size_(body.size()), most_values_(most_values) {}

    std::string name() {
        const AmfValue name = value(0);
        return name.type == AmfValue::Type::kText ? name.text : std::string();
    }

    ScriptData read() {
        ScriptData script;
        script.name = name();
        members_ = &script.members;
        while (!failed_ && !rest_.empty()) {
            // Writers differ in whether an end marker closes the whole body.
            if (std::ranges::equal(rest_, kEnd)) break;
            append(script.values, 0);
            members_ = nullptr;
        }
        script.complete = !failed_ && !left_out_;
        return script;
    }

  private:
    static constexpr uint8_t kEnd[] = {0, 0, kAmfObjectEnd};

    uint64_t be(size_t bytes) {
        if (rest_.size() < bytes) failed_ = true;
        if (failed_) return 0;
        const auto number = big_endian<uint64_t>(rest_.first(bytes));
        rest_ = rest_.subspan(bytes);
        return number;
    }

    std::string text(size_t length_bytes) {
        const auto length = static_cast<size_t>(be(length_bytes));
        if (rest_.size() < length) failed_ = true;
        if (failed_) return {};
        std::string out(rest_.begin(), rest_.begin() + static_cast<ptrdiff_t>(length));
        rest_ = rest_.subspan(length);
        return out;
    }

    // Reads a value, and stores it where there is room for it and it makes sense.
    // -> true when it was stored
    bool append(std::vector<AmfValue>& items, int depth) {
        const bool room = stored_ < most_values_;
        left_out_ |= !room;
        stored_ += room ? 1 : 0;  // before its items, which must not take its place
        AmfValue item = value(depth);
        const bool useful = !failed_ || !item.items.empty();
        if (room && useful) items.push_back(std::move(item));
        return room && useful;
    }

    size_t position() const { return size_ - rest_.size(); }

    void members(AmfValue& object, int depth) {
        object.type = AmfValue::Type::kObject;
        while (!failed_) {
            std::string key = text(2);
            if (key.empty() && !rest_.empty() && rest_[0] == kAmfObjectEnd) {
                be(1);
                return;
            }
            const size_t begin = position();
            const bool stored = append(object.items, depth + 1);
            if (members_ != nullptr && depth == 0 && !failed_)
                members_->push_back({key, begin, position()});
            if (stored) object.keys.push_back(std::move(key));
        }
    }

    void elements(AmfValue& array, int depth) {
        array.type = AmfValue::Type::kArray;
        // Each element takes a byte at least, so a count that lies ends with the body.
        for (uint64_t left = be(4); left > 0 && !failed_; --left)
            append(array.items, depth + 1);
    }

    AmfValue value(int depth) {
        AmfValue out;
        if (depth > ScriptData::kMaxDepth) failed_ = true;
        const auto marker = static_cast<uint8_t>(be(1));
        if (failed_) return out;
        switch (marker) {
            case kAmfNumber:
                out.type = AmfValue::Type::kNumber;
                out.number = std::bit_cast<double>(be(8));
                break;
            case kAmfBoolean:
                out.type = AmfValue::Type::kBoolean;
                out.number = be(1) != 0 ? 1 : 0;
                break;
            case kAmfDate:
                out.type = AmfValue::Type::kDate;
                out.number = std::bit_cast<double>(be(8));
                be(2);  // a time zone that writers leave 0 and readers ignore
                break;
            case kAmfString:
            case kAmfLongString:
            case kAmfXmlDocument:
                out.type = AmfValue::Type::kText;
                out.text = text(marker == kAmfString ? 2 : 4);
                break;
            case kAmfTypedObject:
                text(2);  // the name of its class
                members(out, depth);
                break;
            case kAmfEcmaArray:
                be(4);  // a count that is a hint only: the end marker decides
                members(out, depth);
                break;
            case kAmfObject:
                members(out, depth);
                break;
            case kAmfStrictArray:
                elements(out, depth);
                break;
            case kAmfReference:
                be(2);
                break;
            case kAmfNull:
            case kAmfUndefined:
            case kAmfUnsupported:
                break;
            default:
                failed_ = true;
        }
        return out;
    }

    std::span<const uint8_t> rest_;
    size_t size_;                                // of the body
    std::vector<AmfMember>* members_ = nullptr;  // where to note those of the first value
    size_t most_values_;
    size_t stored_ = 0;
    bool failed_ = false;
    bool left_out_ = false;
};

}  // namespace

const AmfValue* AmfValue::find(std::string_view key) const {
    const auto at = std::ranges::find(keys, key);
    return at == keys.end() ? nullptr : &items[static_cast<size_t>(at - keys.begin())];
}

ScriptData read_script_data(std::span<const uint8_t> body, size_t most_values) {
    return AmfReader(body, most_values).read();
}

std::string script_name(std::span<const uint8_t> body) {
    return AmfReader(body, 0).name();
}

}  // namespace zvprobe
