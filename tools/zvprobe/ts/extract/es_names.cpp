// SPDX-License-Identifier: MIT
// Implementation of es_names.h.
#include "ts/extract/es_names.h"

#include <algorithm>
#include <array>

#include "base/texts.h"

namespace zvprobe {
namespace {

using zv::survey::Codec;
using zv::survey::Kind;

// What programs that read such files expect. Where a stream without its container is not usual,
// its bytes are just that.
const char* extension_of(Codec codec) {
    switch (codec) {
        case Codec::kH264:
            return ".264";
        case Codec::kHevc:
            return ".265";
        case Codec::kVvc:
            return ".266";
        case Codec::kMpeg1Video:
            return ".m1v";
        case Codec::kMpeg2Video:
            return ".m2v";
        case Codec::kMpeg4:
            return ".m4v";
        case Codec::kAv1:
            return ".obu";
        case Codec::kMp1:
            return ".mp1";
        case Codec::kMp2:
            return ".mp2";
        case Codec::kMp3:
            return ".mp3";
        case Codec::kAac:
            return ".aac";
        case Codec::kAacLatm:
            return ".loas";
        case Codec::kAc3:
            return ".ac3";
        case Codec::kEac3:
            return ".eac3";
        case Codec::kAc4:
            return ".ac4";
        case Codec::kDts:
            return ".dts";
        case Codec::kTrueHd:
            return ".thd";
        case Codec::kDvbSubtitle:
        case Codec::kDvbTeletext:
        case Codec::kAribCaption:
            return ".sub";
        case Codec::kTimedId3:
            return ".id3";
        case Codec::kKlv:
            return ".klv";
        default:
            return ".bin";
    }
}

const char* extension_of(Kind kind) {
    return kind == Kind::kVideo || kind == Kind::kAudio ? ".es" : ".bin";
}

void add_part(std::string& stem, std::string_view text) {
    const std::string part = name_part(text);
    if (!part.empty()) stem += "-" + part;
}

}  // namespace

std::string name_part(std::string_view text) {
    std::string part;
    for (const char c : text) {
        if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'))
            part += c;
        else if (c >= 'A' && c <= 'Z')
            part += static_cast<char>(c - 'A' + 'a');
        else if ((c == '-' || c == '_') && !part.empty())
            part += '-';
    }
    return part;
}

std::string language_part(std::span<const uint8_t> descriptors) {
    constexpr size_t kMostNamed = 4;
    std::array<zv::survey::Language, kMostNamed> languages;
    const size_t count = zv::survey::declared_languages(descriptors, languages);
    std::string text;
    for (const auto& language : std::span(languages).first(count)) {
        std::string part = name_part({language.data(), language.size()});
        std::erase(part, '-');
        if (part.empty()) continue;
        text += (text.empty() ? "" : "-") + part;
    }
    return text;
}

FileName stream_file_name(const StreamName& stream) {
    FileName name = {pid_text(stream.pid), ".bin"};
    const char* const codec = zv::survey::codec_name(stream.codec);
    if (codec != nullptr) {
        add_part(name.stem, codec);
        name.extension = extension_of(stream.codec);
    } else if (stream.listed) {
        add_part(name.stem, zv::survey::kind_name(stream.kind));
        name.extension = extension_of(stream.kind);
    }
    add_part(name.stem, stream.language);
    return name;
}

FileName sections_file_name(uint16_t pid, std::string_view use) {
    FileName name = {pid_text(pid), ".sections"};
    add_part(name.stem, use);
    return name;
}

}  // namespace zvprobe
