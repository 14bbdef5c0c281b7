// SPDX-License-Identifier: MIT
// The JSON about an FLV source.
#include "base/json.h"
#include "flv/flv_checks.h"
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

Json numbered(uint32_t number) {
    return number == 0 ? Json(nullptr) : Json(number);
}

Json track_json(const FlvReport& report, const FlvTrack& track) {
    return {{"codec_id", track.codec().code},
            {"codec", track.codec().name()},
            {"fourcc", text_or_null(track.codec().fourcc_text())},
            {"frames", track.frames},
            {"body_bytes", track.body_bytes},
            {"data_rate_bps", report.data_rate(track) * 1000},
            {"config", config_json<AacConfig>(track.config, std::nullopt)},
            {"config_changes", track.config.changes},
            {"frames_without_config", track.frames_without_config}};
}

Json audio_json(const FlvReport& report, const FlvAudio& audio) {
    if (audio.tags == 0) return nullptr;
    const FlvConfig none;
    const bool is_aac = audio.codec().media() == FlvMedia::kAac;
    Json out = track_json(report, audio);
    out["sample_rate"] = numbered(audio.sound.sample_rate);
    out["channels"] = numbered(audio.sound.channels);
    out["header_rate_code"] = audio.rate_code;
    out["header_sample_bits"] = audio.wide ? 16 : 8;
    out["header_stereo"] = audio.stereo;
    out["aac_config"] = config_json(is_aac ? audio.config : none, audio.aac);
    return out;
}

Json size_json(const std::optional<PictureSize>& size) {
    if (!size) return nullptr;
    return {{"width", size->width}, {"height", size->height}};
}

Json picture_json(const std::optional<zv::survey::VideoDetails>& picture) {
    if (!picture) return nullptr;
    const bool told = picture->interlaced >= 0;
    const char* const chroma = picture->chroma != nullptr ? picture->chroma : "";
    return {{"profile", text_or_null(picture->profile)},
            {"level", text_or_null(picture->level)},
            {"bit_depth", numbered(picture->bit_depth)},
            {"chroma", text_or_null(chroma)},
            {"interlaced", told ? Json(picture->interlaced != 0) : Json(nullptr)}};
}

Json video_json(const FlvReport& report, const FlvVideo& video) {
    if (video.tags == 0) return nullptr;
    const FlvConfig none;
    const bool is_avc = video.codec().media() == FlvMedia::kAvc;
    Json out = track_json(report, video);
    out["key_frames"] = video.key_frames;
    out["size"] = size_json(video.size);
    out["picture"] = picture_json(video.picture);
    out["avc_config"] = config_json(is_avc ? video.config : none, video.avc);
    return out;
}

Json first_video_json(const FlvReport& report) {
    Json out = video_json(report, report.video);
    if (!out.is_null()) out["frame_rate"] = video_frame_rate(report);
    return out;
}

// The tracks beside the first ones.
Json more_tracks_json(const FlvReport& report) {
    Json out = {{"video", Json::array()}, {"audio", Json::array()}};
    const auto add = [](Json& list, uint8_t id, Json track) {
        track["track_id"] = id;
        list.push_back(std::move(track));
    };
    for (const auto& [id, track] : report.more_video)
        add(out["video"], id, video_json(report, track));
    for (const auto& [id, track] : report.more_audio)
        add(out["audio"], id, audio_json(report, track));
    return out;
}

const char* step_name(FlvTimeStep::Kind kind) {
    if (kind == FlvTimeStep::Kind::kBack) return "step_back";
    return kind == FlvTimeStep::Kind::kJump ? "jump" : "wrap";
}

Json timestamps_json(const FlvTimes& times) {
    const auto step_json = [](const FlvTimeStep& step) -> Json {
        return {{"offset", step.offset},
                {"kind", step_name(step.kind)},
                {"from_ms", step.from},
                {"to_ms", step.to}};
    };
    return {{"first_ms", times.empty() ? Json(nullptr) : Json(times.first())},
            {"last_ms", times.empty() ? Json(nullptr) : Json(times.last())},
            {"steps_back", times.back_steps()},
            {"jumps", times.jumps()},
            {"wraps", times.wraps()},
            {"list", list_json(times.steps(), step_json)}};
}

Json checks_json(const FlvReport& report) {
    Json differences = Json::array();
    for (const MetadataDifference& difference : report.differences) {
        differences.push_back({{"key", difference.key},
                               {"stated", value_json(difference.stated)},
                               {"measured", difference.measured},
                               {"error", difference.is_error}});
    }
    return {{"header_flags_right", report.whole ? Json(flags_are_right(report)) : Json(nullptr)},
            {"stream_id_tags", report.reading.stream_id_tags},
            {"on_meta_data_tags", report.meta_data_tags},
            {"metadata_differences", differences}};
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
    return {{"total", report.reading.tags},     {"audio", report.audio_tags},
            {"video", report.video_tags},       {"script", report.script_tags},
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
              {"audio", reading.claims_audio()},
              {"video", reading.claims_video()}}},
            {"library",
             {{"accepted", report.library.accepted}, {"info", text_or_null(report.library.info)}}},
            {"bytes", reading.bytes},
            {"tags", tags_json(report)},
            {"duration_s", report.duration()},
            {"timestamps", timestamps_json(report.times)},
            {"checks", checks_json(report)},
            {"video", first_video_json(report)},
            {"audio", audio_json(report, report.audio)},
            {"more_tracks", more_tracks_json(report)},
            {"script_data", scripts},
            {"size_words", size_words_json(reading)},
            {"sync", sync_json(reading)},
            {"truncated_tag", truncated_json(reading)},
            {"trailing_bytes", reading.trailing_bytes}};
}

}  // namespace zvprobe
