// SPDX-License-Identifier: MIT
// Subtitles and teletext pages that the descriptors of a stream announce (ETSI EN 300 468, 6.2.41,
// 6.2.43).
#pragma once

#include "survey/codecs/codec.h"

namespace zv::survey {

struct SubtitlePage {
    Language language;
    uint8_t type;  // subtitling_type or teletext_type
    bool teletext;
    bool subtitle;  // of teletext: a page of subtitles, not of text
    bool hearing_impaired;
    uint16_t page;  // "888" of teletext as 888, composition_page_id of DVB subtitles
};

constexpr size_t kMaxSubtitlePages = 64;

// -> how many of `out` were filled, at most kMaxSubtitlePages; pages beyond are left out
size_t declared_subtitles(std::span<const uint8_t> descriptors, std::span<SubtitlePage> out);

}  // namespace zv::survey
