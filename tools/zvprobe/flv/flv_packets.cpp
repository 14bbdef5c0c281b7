// SPDX-License-Identifier: MIT
// Implementation of flv_packets.h.
#include "flv/flv_packets.h"

#include <algorithm>

#include "base/bytes.h"
#include "flv.h"

namespace zvprobe {
namespace {

constexpr uint8_t kEnhancedVideo = 0x80;
constexpr uint8_t kEnhancedAudio = 9;  // in place of a sound format
constexpr uint8_t kKeyFrame = 1;
constexpr uint8_t kCommand = 5;

// Packet types of enhanced tags.
constexpr uint8_t kConfigType = 0;
constexpr uint8_t kFramesType = 1;
constexpr uint8_t kFramesWithoutOffset = 3;  // video
constexpr uint8_t kMetadataType = 4;         // video
constexpr uint8_t kAudioTracks = 5;
constexpr uint8_t kVideoTracks = 6;
constexpr uint8_t kExtension = 7;

constexpr size_t kFourCc = 4;
constexpr size_t kOffset = 3;  // of the presentation from the decoding time

bool is_enhanced(bool video, uint8_t first) {
    return video ? (first & kEnhancedVideo) != 0 : first >> 4 == kEnhancedAudio;
}

bool has_packet_type(FlvMedia media) {
    return media == FlvMedia::kAvc || media == FlvMedia::kHevc || media == FlvMedia::kAac;
}

FlvCodec plain_codec(bool video, uint8_t first) {
    return {video, static_cast<uint8_t>(video ? first & 0x0F : first >> 4), 0};
}

}  // namespace

FlvKept kept_for_packets(bool video, std::span<const uint8_t> start) {
    if (start.empty()) return FlvKept::kFrame;
    const uint8_t type = start[0] & 0x0F;
    const uint8_t second = start.size() > 1 ? start[1] : 0;
    if (!is_enhanced(video, start[0])) {
        const bool config = start.size() > 1 && second == kConfigType &&
                            has_packet_type(plain_codec(video, start[0]).media());
        return config ? FlvKept::kConfig : FlvKept::kFrame;
    }
    if (type == (video ? kVideoTracks : kAudioTracks))
        return second >> 4 != 0 || (second & 0x0F) == kConfigType ? FlvKept::kTracks
                                                                  : FlvKept::kFrame;
    if (type == kExtension) return FlvKept::kTracks;
    return type == kConfigType ? FlvKept::kConfig : FlvKept::kFrame;
}

FlvPackets::FlvPackets(const FlvTag& tag)
    : rest_(tag.body()), left_(tag.data_len), whole_(tag.data_len) {
    packet_.codec.video = tag.type == ZV_FLV_TAG_VIDEO;
    first_ = static_cast<uint8_t>(take(1));
    if (ended_) return;
    enhanced_ = is_enhanced(packet_.codec.video, first_);
    if (enhanced_)
        begin_enhanced();
    else
        packet_.codec = plain_codec(packet_.codec.video, first_);
}

// -> a number of at most four bytes; ends the tag where they are not there
uint32_t FlvPackets::take(size_t bytes) {
    if (rest_.size() < bytes) ended_ = true;
    if (ended_) return 0;
    const uint32_t value = big_endian(rest_.first(bytes));
    rest_ = rest_.subspan(bytes);
    left_ -= bytes;
    return value;
}

// Such an extension refines the time of the tag, to which milliseconds are enough here.
void FlvPackets::skip_extensions() {
    while (type_ == kExtension && !ended_) {
        size_t size = take(1) + 1;
        if (size == 256) size = take(2) + 1;
        if (size > rest_.size()) ended_ = true;
        if (ended_) return;
        rest_ = rest_.subspan(size);
        left_ -= size;
        type_ = take(1) & 0x0F;
    }
}

void FlvPackets::begin_enhanced() {
    FlvCodec& codec = packet_.codec;
    codec.code = codec.video ? 0 : kEnhancedAudio;
    type_ = first_ & 0x0F;
    skip_extensions();
    multitrack_ = type_ == (codec.video ? kVideoTracks : kAudioTracks);
    if (multitrack_) return begin_tracks();
    const bool command = codec.video && (first_ >> 4 & 7) == kCommand && type_ != kMetadataType;
    if (!command) codec.fourcc = take(kFourCc);
}

void FlvPackets::begin_tracks() {
    const uint32_t byte = take(1);
    type_ = byte & 0x0F;
    if (byte >> 4 > static_cast<uint32_t>(Tracks::kManyCodecs)) ended_ = true;
    tracks_ = static_cast<Tracks>(byte >> 4);
    if (tracks_ != Tracks::kManyCodecs) packet_.codec.fourcc = take(kFourCc);
}

std::optional<FlvPacket> FlvPackets::next() {
    if (ended_) return std::nullopt;
    return enhanced_ ? enhanced_packet() : plain_packet();
}

std::optional<FlvPacket> FlvPackets::plain_packet() {
    ended_ = true;
    FlvPacket packet = packet_;
    const uint8_t frame_type = first_ >> 4;
    packet.size = whole_;
    packet.media = packet.codec.media();
    packet.key = packet.codec.video && frame_type == kKeyFrame;
    if (has_packet_type(packet.media) && !rest_.empty()) {
        const uint8_t type = rest_[0];
        const size_t head = std::min<size_t>(1 + (packet.codec.video ? kOffset : 0), rest_.size());
        rest_ = rest_.subspan(head);
        left_ -= head;
        if (type == kConfigType) packet.kind = FlvPacket::Kind::kConfig;
        if (packet.codec.video && type > kFramesType) packet.kind = FlvPacket::Kind::kOther;
    }
    if (packet.codec.video && frame_type == kCommand && packet.kind == FlvPacket::Kind::kFrame)
        packet.kind = FlvPacket::Kind::kOther;
    packet.length = left_;
    packet.bytes = rest_;
    return packet;
}

FlvPacket::Kind FlvPackets::kind_of_type() const {
    if (type_ == kConfigType) return FlvPacket::Kind::kConfig;
    const bool frame =
        type_ == kFramesType || (packet_.codec.video && type_ == kFramesWithoutOffset);
    return frame ? FlvPacket::Kind::kFrame : FlvPacket::Kind::kOther;
}

std::optional<FlvPacket> FlvPackets::enhanced_packet() {
    FlvPacket packet = packet_;
    FlvCodec& codec = packet.codec;
    if (tracks_ == Tracks::kManyCodecs) codec.fourcc = take(kFourCc);
    if (multitrack_) packet.track = static_cast<uint8_t>(take(1));
    const bool sized = multitrack_ && tracks_ != Tracks::kOne;
    const uint64_t claimed = sized ? take(3) : left_;
    if (ended_ || claimed > left_) {
        ended_ = true;
        return std::nullopt;
    }
    left_ -= claimed;
    packet.length = packet.size = claimed;
    packet.bytes = rest_.first(static_cast<size_t>(std::min<uint64_t>(claimed, rest_.size())));
    rest_ = rest_.subspan(packet.bytes.size());
    ended_ = !sized || left_ == 0;
    if (!multitrack_) packet.size = whole_;
    packet.kind = codec.fourcc == 0 ? FlvPacket::Kind::kOther : kind_of_type();
    packet.media = codec.media();
    packet.key = codec.video && (first_ >> 4 & 7) == kKeyFrame;
    const bool has_offset = type_ == kFramesType && codec.video &&
                            (packet.media == FlvMedia::kAvc || packet.media == FlvMedia::kHevc ||
                             codec.fourcc == four_letters("vvc1"));
    const size_t head = std::min(packet.bytes.size(), has_offset ? kOffset : 0);
    packet.bytes = packet.bytes.subspan(head);
    packet.length -= head;
    return packet;
}

}  // namespace zvprobe
