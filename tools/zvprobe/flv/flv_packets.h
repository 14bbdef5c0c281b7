// SPDX-License-Identifier: MIT
// What the body of an audio or video tag holds: a frame, a configuration or a mark of one track, or,
// in enhanced tags, of several.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "flv/codecs/flv_codecs.h"
#include "flv/flv_walk.h"

namespace zvprobe {

struct FlvPacket {
    enum class Kind : uint8_t {
        kFrame,
        kConfig,
        kOther,  // an end mark, a command, metadata of the picture
    };

    FlvCodec codec;
    FlvMedia media = FlvMedia::kOther;  // of the codec
    Kind kind = Kind::kFrame;
    bool key = false;                // video: of a frame
    uint8_t track = 0;               // 0: the only one, or the first of several
    uint64_t size = 0;               // bytes: of the body without what belongs to other tracks
    uint64_t length = 0;             // bytes of the codec's own data
    std::span<const uint8_t> bytes;  // the first of these, as far as the tag keeps them
};

class FlvPackets {
  public:
    // tag: of audio or video; must outlive this object. Of an encrypted one only what the heads of its
    // body say makes sense, not the bytes of a packet.
    explicit FlvPackets(const FlvTag& tag);

    // -> the next packet; nothing at the end, and where the body makes no sense
    std::optional<FlvPacket> next();

  private:
    enum class Tracks : uint8_t { kOne = 0, kMany = 1, kManyCodecs = 2 };

    uint32_t take(size_t bytes);
    void begin_enhanced();
    void begin_tracks();
    void skip_extensions();
    FlvPacket::Kind kind_of_type() const;
    std::optional<FlvPacket> plain_packet();
    std::optional<FlvPacket> enhanced_packet();

    std::span<const uint8_t> rest_;  // as kept
    uint64_t left_ = 0;              // bytes of the body from there on
    uint64_t whole_;                 // bytes of the body
    FlvPacket packet_;               // what all packets of the tag have in common
    uint8_t first_;                  // byte of the body
    uint8_t type_ = 0;
    bool enhanced_ = false;
    bool multitrack_ = false;
    Tracks tracks_ = Tracks::kOne;
    bool ended_ = false;
};

// How much of a body is to be kept for the packets, script data aside.
// start: of the body, two bytes or fewer where it ends
enum class FlvKept : uint8_t { kFrame, kConfig, kTracks };
FlvKept kept_for_packets(bool video, std::span<const uint8_t> start);

// -> true when a video tag may begin with that byte
inline bool may_begin_video(uint8_t first) {
    return (first & 0x80) != 0 || (first & 0x0F) != 0;
}

}  // namespace zvprobe
