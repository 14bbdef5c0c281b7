// SPDX-License-Identifier: MIT
// The codecs of FLV: the codes of tag headers, and the four characters (FourCC) that enhanced tags
// name a codec by instead.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zvprobe {

// What the bytes of a codec are read as.
enum class FlvMedia : uint8_t {
    kOther,
    kH263,
    kScreen,
    kVp6,
    kVp6Alpha,
    kAvc,
    kHevc,
    kVp8,
    kVp9,
    kAv1,
    kMp3,
    kAac,
    kOpus,
    kFlac,
    kAc3,
};

struct FlvCodec {
    bool video = false;
    uint8_t code = 0;     // of the tag header; of an enhanced tag 9 (audio) and 0 (video)
    uint32_t fourcc = 0;  // of an enhanced tag, otherwise 0

    bool operator==(const FlvCodec&) const = default;

    FlvMedia media() const;

    // -> "AVC"; "codec 1" or "codec 'abcd'" for one without a name
    std::string name() const;

    // -> "avc1", empty without one; any four bytes
    std::string fourcc_text() const;

    // -> Hz where the codec alone tells it, whatever the tag header says; otherwise 0
    uint32_t fixed_rate() const;
    // -> true where the codec is mono, whatever the tag header says
    bool always_mono() const;

    // The value of onMetaData: the code, or the FourCC as a number.
    double metadata_id() const { return fourcc != 0 ? fourcc : code; }
    // -> true when the number or text that a writer gave names this codec, by code or by FourCC
    bool is_named_by(double id) const;
    bool is_named_by(std::string_view id) const;
};

// -> true for a codec whose frames cannot be decoded without a configuration tag before them
bool needs_config(FlvMedia media);

}  // namespace zvprobe
