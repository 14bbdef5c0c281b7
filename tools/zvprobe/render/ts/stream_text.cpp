// SPDX-License-Identifier: MIT
// An elementary stream in the words that people use: codec, profile, picture or sound, language.
#include <algorithm>
#include <array>
#include <cmath>

#include "render/ts/ts_text_parts.h"

namespace zvprobe {
namespace {

constexpr size_t kWidestLanguages = 11;

struct CodecName {
    std::string_view codec;  // in JSON
    const char* name;
};
constexpr std::array kCodecNames = {
    CodecName{"h264", "H.264"},
    CodecName{"hevc", "HEVC"},
    CodecName{"vvc", "VVC"},
    CodecName{"mpeg1video", "MPEG-1 video"},
    CodecName{"mpeg2video", "MPEG-2 video"},
    CodecName{"mpeg4", "MPEG-4 video"},
    CodecName{"av1", "AV1"},
    CodecName{"mp1", "MPEG audio layer 1"},
    CodecName{"mp2", "MPEG audio layer 2"},
    CodecName{"mp3", "MP3"},
    CodecName{"aac", "AAC"},
    CodecName{"aac_latm", "AAC (LATM)"},
    CodecName{"ac3", "AC-3"},
    CodecName{"eac3", "E-AC-3"},
    CodecName{"ac4", "AC-4"},
    CodecName{"dts", "DTS"},
    CodecName{"truehd", "TrueHD"},
    CodecName{"s302m", "SMPTE 302M"},
    CodecName{"opus", "Opus"},
    CodecName{"dvb_subtitle", "DVB subtitles"},
    CodecName{"dvb_teletext", "teletext"},
    CodecName{"scte_35", "SCTE-35"},
    CodecName{"timed_id3", "timed ID3"},
    CodecName{"klv", "KLV"},
    CodecName{"arib_caption", "ARIB captions"},
};

std::string codec_text(const Json& stream) {
    const std::string codec = text_of(stream, "codec");
    const auto* const found = std::ranges::find(kCodecNames, codec, &CodecName::codec);
    if (found != kCodecNames.end()) return found->name;
    return codec.empty() ? "type " + hex_byte(stream["stream_type"]) : printable(codec);
}

// -> "High@4.0"
std::string profile_text(const Json& details) {
    const std::string level = details.contains("level") ? text_of(details, "level") : "";
    return printable(text_of(details, "profile") + (level.empty() ? "" : "@" + level));
}

// -> "1920x1080i"; nothing stands after the size where it is not known which
std::string picture_text(const Json& details) {
    const auto width = figure(details, "width");
    const auto height = figure(details, "height");
    if (!width || !height) return {};
    const Json& interlaced = details["interlaced"];
    const char* const scan = interlaced.is_null() ? "" : interlaced == true ? "i" : "p";
    return number_text(*width) + "x" + number_text(*height) + scan;
}

// -> "1920x1080i", "25 fps", ...
std::vector<std::string> video_parts(const Json& details) {
    std::vector<std::string> parts = {picture_text(details)};
    if (const auto rate = figure(details, "frame_rate"))
        parts.push_back(number_text(std::round(*rate * 1000) / 1000) + " fps");
    // What nearly every stream has needs no words.
    if (const auto depth = figure(details, "bit_depth"); depth && *depth > 8)
        parts.push_back(number_text(*depth) + " bit");
    if (const std::string chroma = printable(text_of(details, "chroma")); chroma != "4:2:0")
        parts.push_back(chroma);
    return parts;
}

std::string channels_text(double channels) {
    if (channels == 1) return "mono";
    if (channels == 2) return "stereo";
    if (channels == 6) return "5.1";
    if (channels == 8) return "7.1";
    return number_text(channels) + " channels";
}

// -> "48 kHz", "stereo"
std::vector<std::string> audio_parts(const Json& details) {
    std::vector<std::string> parts;
    if (const auto rate = figure(details, "sample_rate"))
        parts.push_back(number_text(*rate / 1000) + " kHz");
    if (const auto channels = figure(details, "channels"))
        parts.push_back(channels_text(*channels));
    return parts;
}

std::string languages_text(const Json& stream) {
    std::string text;
    for (const Json& language : stream["languages"])
        text += (text.empty() ? "" : ",") + language.get<std::string>();
    return cut_to(printable(text), kWidestLanguages);
}

// -> "page 888 hearing impaired"; of teletext only the pages of subtitles count, and only a few
std::vector<std::string> page_parts(const Json& stream) {
    constexpr size_t kMostShown = 3;
    std::vector<std::string> parts;
    if (!stream.contains("pages")) return parts;
    for (const Json& page : stream["pages"]) {
        if (page["use"] != "subtitle") continue;
        if (parts.size() == kMostShown) {
            parts.push_back("...");
            break;
        }
        parts.push_back("page " + std::to_string(page["page"].get<unsigned>()) +
                        (page["hearing_impaired"] == true ? " hearing impaired" : ""));
    }
    return parts;
}

}  // namespace

std::string stream_text(const Json& stream, bool scrambled) {
    std::string text = codec_text(stream);
    const auto add = [&text](const std::string& part) {
        if (!part.empty()) text += " " + part;
    };
    if (const Json& details = stream["details"]; !details.is_null()) {
        const std::string profile = profile_text(details);
        if (profile.starts_with(text))
            text = profile;  // "DTS-HD MA"
        else
            add(profile);
        for (const std::string& part :
             details.contains("width") ? video_parts(details) : audio_parts(details))
            add(part);
    }
    add(languages_text(stream));
    for (const std::string& part : page_parts(stream))
        add(part);
    return scrambled ? text + " (scrambled)" : text;
}

}  // namespace zvprobe
