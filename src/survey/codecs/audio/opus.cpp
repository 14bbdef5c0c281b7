// SPDX-License-Identifier: MIT
// Opus in transport streams: the channel configuration code of its extension descriptor. Its
// packets are decoded at 48 kHz whatever they were made from.
#include "survey/codecs/audio/audio.h"
#include "survey/codecs/descriptors.h"

namespace zv::survey {

uint8_t opus_channels(std::span<const uint8_t> loop) {
    constexpr uint8_t kOpus = 0x80;  // user defined tag, by the registration "Opus"
    constexpr uint8_t kDualMono = 0x00;
    constexpr uint8_t kExplicit = 0x81;
    constexpr uint8_t kMostChannels = 8;
    Descriptors descriptors(loop);
    while (const auto descriptor = descriptors.next()) {
        const auto body = descriptor->body;
        if (descriptor->tag != kTagExtension || body.size() < 2 || body[0] != kOpus) continue;
        const uint8_t code = body[1];
        if (code == kDualMono || code == 0x80) return 2;
        if (code == kExplicit) return body.size() > 2 ? body[2] : uint8_t{0};
        return (code & 0x7F) <= kMostChannels ? code & 0x7F : uint8_t{0};
    }
    return 0;
}

}  // namespace zv::survey
