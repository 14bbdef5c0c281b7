// SPDX-License-Identifier: MIT
// Names of the files that streams and tables are written to: "0x101-aac-eng.aac",
// "0x0-pat.sections". Of what a stream says only letters and digits get into one.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "survey/codecs/codec.h"

namespace zvprobe {

// -> the text with nothing in it but a-z, 0-9 and "-"
std::string name_part(std::string_view text);

// -> languages of a stream's descriptors as one part of a name, "eng-fra"; empty without any
std::string language_part(std::span<const uint8_t> descriptors);

struct StreamName {
    uint16_t pid;
    zv::survey::Codec codec;
    zv::survey::Kind kind;  // for those without a codec
    bool listed;            // by a PMT
    std::string language;
};

// -> the file's name, in two pieces between which a number may make it another one
struct FileName {
    std::string stem, extension;
};
FileName stream_file_name(const StreamName& stream);

// use: what the PID is for, perhaps empty
FileName sections_file_name(uint16_t pid, std::string_view use);

}  // namespace zvprobe
