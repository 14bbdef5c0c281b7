// SPDX-License-Identifier: MIT
// What tags beside MPEG audio say: title, artist and album, as UTF-8. Other members are not read.
#pragma once

#include <string>

#include "audio/audio_tags.h"

namespace zvprobe {

struct TagTexts {
    std::string title;
    std::string artist;
    std::string album;

    // Takes from `other` what is empty here.
    void fill_from(const TagTexts& other);
};

// tag  the bytes of it, or its first ones: what they cut off is not there
TagTexts read_tag_texts(AudioTagKind kind, std::span<const uint8_t> tag);

}  // namespace zvprobe
