// SPDX-License-Identifier: MIT
// Implementation of subtitles.h.
#include "survey/codecs/subtitles.h"

#include <algorithm>

#include "bitStream/big_endian.h"
#include "survey/codecs/descriptors.h"

namespace zv::survey {
namespace {

Language language_of(std::span<const uint8_t> entry) {
    Language language;
    std::copy_n(entry.begin(), language.size(), language.begin());
    return language;
}

SubtitlePage teletext_page(std::span<const uint8_t> entry) {
    constexpr uint8_t kSubtitlePage = 2;
    constexpr uint8_t kHearingImpaired = 5;
    const uint8_t type = entry[3] >> 3;
    const int magazine = (entry[3] & 7) == 0 ? 8 : entry[3] & 7;
    // Two decimal digits; others are pages that no viewer can ask for.
    const int number = (entry[4] >> 4) * 10 + (entry[4] & 0xF);
    return {language_of(entry),
            type,
            true,
            type == kSubtitlePage || type == kHearingImpaired,
            type == kHearingImpaired,
            static_cast<uint16_t>(magazine * 100 + number)};
}

SubtitlePage dvb_page(std::span<const uint8_t> entry) {
    const uint8_t type = entry[3];
    const bool hearing_impaired = type >= 0x20 && type <= 0x25;
    return {language_of(entry), type, false, true, hearing_impaired, load_be16(entry.subspan(4))};
}

}  // namespace

size_t declared_subtitles(std::span<const uint8_t> descriptors, std::span<SubtitlePage> out) {
    constexpr size_t kTeletextEntry = 5;
    constexpr size_t kDvbEntry = 8;
    const size_t room = std::min(out.size(), kMaxSubtitlePages);
    size_t count = 0;
    Descriptors loop(descriptors);
    while (const auto descriptor = loop.next()) {
        const bool teletext = descriptor->tag == kTagTeletext || descriptor->tag == kTagVbiTeletext;
        if (!teletext && descriptor->tag != kTagSubtitling) continue;
        const size_t entry = teletext ? kTeletextEntry : kDvbEntry;
        for (auto body = descriptor->body; body.size() >= entry && count < room;
             body = body.subspan(entry))
            out[count++] = teletext ? teletext_page(body) : dvb_page(body);
    }
    return count;
}

}  // namespace zv::survey
