// SPDX-License-Identifier: MIT
// The JSON about an FLV source.
#include "base/json.h"
#include "flv/flv_report.h"
#include "render/json_report.h"
#include "render/text_parts.h"

namespace zvprobe {
namespace {

constexpr size_t kConfigShown = 64;

// The reader has limited how deep values lie in each other.
Json value_json(const AmfValue& value) {
    switch (value.type) {
        case AmfValue::Type::kNumber:
            return value.number;
        case AmfValue::Type::kBoolean:
            return value.number != 0;
        case AmfValue::Type::kText:
            return value.text;
        case AmfValue::Type::kDate:
            return {{"unix_ms", value.number}};
        case AmfValue::Type::kArray: {
            Json array = Json::array();
            for (const AmfValue& item : value.items)
                array.push_back(value_json(item));
            return array;
        }
        case AmfValue::Type::kObject: {
            Json object = Json::object();
            for (size_t i = 0; i < value.items.size(); ++i)
                object[value.keys[i]] = value_json(value.items[i]);
            return object;
        }
        case AmfValue::Type::kNothing:
            break;
    }
    return nullptr;
}

Json script_json(const FlvScript& script) {
    Json values = Json::array();
    for (const AmfValue& value : script.data.values)
        values.push_back(value_json(value));
    return {{"offset", script.offset},
            {"name", script.data.name},
            {"complete", script.data.complete},
            {"values", values}};
}

Json facts_json(const AacConfig& aac) {
    return {{"object_type", aac.object_type},
            {"object_name", aac.object_name},
            {"sample_rate", aac.sample_rate},
            {"channels", aac.channels}};
}

Json facts_json(const AvcConfig& avc) {
    return {{"profile", avc.profile}, {"profile_name", avc.profile_name}, {"level", avc.level}};
}

// facts: what the bytes say, if that could be read
template <typename Facts>
Json config_json(const FlvConfig& config, const std::optional<Facts>& facts) {
    if (config.tags == 0) return nullptr;
    const size_t shown = std::min(config.bytes.size(), kConfigShown);
    Json out = {{"tags", config.tags},
                {"length", config.length},
                {"bytes", hex_bytes(std::span(config.bytes).first(shown))}};
    if (facts) out.update(facts_json(*facts));
    return out;
}

Json track_json(const FlvReport& report, const FlvTrack& track, const std::string& codec) {
    return {{"codec_id", track.codec},
            {"codec", codec},
            {"frames", track.frames},
            {"body_bytes", track.body_bytes},
            {"data_rate_bps", report.data_rate(track) * 1000}};
}

Json audio_json(const FlvReport& report) {
    const FlvAudio& audio = report.audio;
    if (audio.tags == 0) return nullptr;
    Json out = track_json(report, audio, flv_audio_codec(audio.codec));
    out["header_rate_code"] = audio.rate_code;
    out["header_sample_bits"] = audio.wide ? 16 : 8;
    out["header_stereo"] = audio.stereo;
    out["aac_config"] = config_json(audio.config, audio.aac);
    return out;
}

Json size_json(const std::optional<PictureSize>& size) {
    if (!size) return nullptr;
    return {{"width", size->width}, {"height", size->height}};
}

Json video_json(const FlvReport& report) {
    const FlvVideo& video = report.video;
    if (video.tags == 0) return nullptr;
    Json out = track_json(report, video, flv_video_codec(video.codec));
    out["key_frames"] = video.key_frames;
    out["frame_rate"] = frame_rate(video);
    out["size"] = size_json(video.size);
    out["avc_config"] = config_json(video.config, video.avc);
    return out;
}

Json size_words_json(const FlvReading& reading) {
    const auto word_json = [](const SizeMismatch& word) -> Json {
        return {{"offset", word.offset}, {"expected", word.expected}, {"found", word.found}};
    };
    return {{"mismatches", reading.mismatches.count()},
            {"mismatch_list", list_json(reading.mismatches, word_json)}};
}

Json sync_json(const FlvReading& reading) {
    return {{"skipped_bytes", reading.skipped_bytes},
            {"losses", reading.losses.count()},
            {"loss_list", list_json(reading.losses, loss_json)}};
}

Json truncated_json(const FlvReading& reading) {
    if (!reading.truncated) return nullptr;
    const TruncatedTag& tag = *reading.truncated;
    return {{"offset", tag.offset}, {"type", tag.type}, {"size", tag.size}};
}

Json tags_json(const FlvReport& report) {
    return {{"total", report.reading.tags},     {"audio", report.audio.tags},
            {"video", report.video.tags},       {"script", report.script_tags},
            {"other", report.other_tags},       {"encrypted", report.filtered_tags},
            {"bytes", report.reading.tag_bytes}};
}

}  // namespace

Json to_json(const FlvReport& report) {
    const FlvReading& reading = report.reading;
    Json scripts = Json::array();
    for (const FlvScript& script : report.scripts)
        scripts.push_back(script_json(script));
    return {{"version", reading.version},
            {"header_length", reading.header_length},
            {"header_flags",
             {{"value", reading.flags},
              {"audio", (reading.flags & kFlvHasAudio) != 0},
              {"video", (reading.flags & kFlvHasVideo) != 0}}},
            {"library",
             {{"accepted", report.library.accepted}, {"info", text_or_null(report.library.info)}}},
            {"bytes", reading.bytes},
            {"tags", tags_json(report)},
            {"duration_s", report.duration()},
            {"video", video_json(report)},
            {"audio", audio_json(report)},
            {"script_data", scripts},
            {"size_words", size_words_json(reading)},
            {"sync", sync_json(reading)},
            {"truncated_tag", truncated_json(reading)},
            {"trailing_bytes", reading.trailing_bytes}};
}

}  // namespace zvprobe
