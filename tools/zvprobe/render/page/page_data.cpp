// SPDX-License-Identifier: MIT
// Implementation of page_data.h: what all formats have in common, FLV and MPEG audio.
#include "render/page/page_data.h"

#include <cmath>

#include "base/passwords.h"
#include "render/json_report.h"

namespace zvprobe {
namespace {

// -> at most that many bytes, no character cut
std::string cut_text(const std::string& text, size_t most) {
    if (text.size() <= most) return text;
    size_t end = most;
    while (end > 0 && (static_cast<uint8_t>(text[end]) & 0xC0) == 0x80)
        --end;
    return text.substr(0, end) + "\u2026";
}

// Adds the part of the source's format, under the format's name.
struct PartWriter {
    const SourceReport& report;
    const PageBounds& bounds;
    Json& source;

    void operator()(const std::monostate&) const { source["format"] = nullptr; }
    void operator()(const TsReport& ts) const {
        source["format"] = "mpegts";
        source["mpegts"] = page_data(ts, bounds);
    }
    void operator()(const FlvReport& flv) const { add("flv", to_json(flv)); }
    void operator()(const MpegAudioReport& audio) const { add("mpeg_audio", to_json(audio)); }

    void add(const char* format, Json part) const {
        cut_to(part, bounds);
        if (report.media) add_media(part, *report.media, bounds);
        source["format"] = format;
        source[format] = std::move(part);
    }
};

// figure(step) -> its value in the column
template <typename Figure>
Json column(const MediaHistory& history, MediaHistory::Track track, Figure figure) {
    Json values = Json::array();
    for (const auto& step : history.steps())
        values.push_back(figure(step[track]));
    return values;
}

Json sizes_json(const MediaHistory& history, MediaHistory::Track track) {
    const auto known = [](const MediaStep& step, uint64_t size) {
        return step.frames > 0 ? Json(size) : Json(nullptr);
    };
    return {{"min", column(history, track, [&](const auto& s) { return known(s, s.smallest); })},
            {"max", column(history, track, [&](const auto& s) { return known(s, s.largest); })}};
}

Json intervals_json(const MediaHistory& history, MediaHistory::Track track) {
    const auto known = [](const MediaStep& step, int64_t time) {
        return step.has_interval() ? Json(time) : Json(nullptr);
    };
    return {{"min", column(history, track, [&](const auto& s) { return known(s, s.shortest_ms); })},
            {"max", column(history, track, [&](const auto& s) { return known(s, s.longest_ms); })}};
}

Json track_json(const MediaHistory& history, MediaHistory::Track track) {
    return {{"kind", track == MediaHistory::kVideo ? "video" : "audio"},
            {"bytes", column(history, track, [](const auto& s) { return s.bytes; })},
            {"frames", column(history, track, [](const auto& s) { return s.frames; })},
            {"key_frames", column(history, track, [](const auto& s) { return s.key_frames; })},
            {"size", sizes_json(history, track)},
            {"interval_ms", intervals_json(history, track)}};
}

double seconds(int64_t ms) {
    return static_cast<double>(ms) / 1000;
}

Json history_json(const MediaHistory& history) {
    Json tracks = Json::array();
    for (const auto track : {MediaHistory::kVideo, MediaHistory::kAudio})
        if (history.frames(track) > 0) tracks.push_back(track_json(history, track));
    return {{"start_s", seconds(history.start_ms())},
            {"step_s", seconds(history.step_ms())},
            {"steps", history.steps().size()},
            {"tracks", std::move(tracks)}};
}

}  // namespace

void cut_to(Json& json, const PageBounds& bounds) {
    if (json.is_string()) {
        json = cut_text(json.get_ref<const std::string&>(), bounds.names);
    } else if (json.is_array() && json.size() > bounds.entries) {
        json.erase(json.begin() + static_cast<std::ptrdiff_t>(bounds.entries), json.end());
    }
    if (!json.is_structured()) return;
    for (Json& inner : json)
        cut_to(inner, bounds);
}

Json rounded(Json json, int decimals) {
    if (json.is_number_float()) {
        const double unit = std::pow(10, decimals);
        return std::round(json.get<double>() * unit) / unit;
    }
    if (json.is_structured())
        for (Json& inner : json)
            inner = rounded(std::move(inner), decimals);
    return json;
}

void add_media(Json& part, const MediaRecord& record, const PageBounds& bounds) {
    Json list = Json::array();
    for (const TimedFinding& finding : record.findings.kept()) {
        if (list.size() == bounds.entries) break;
        list.push_back({{"time_s", seconds(finding.time_ms)},
                        {"offset", finding.offset},
                        {"message", finding.message}});
    }
    part["findings"] = {{"total", record.findings.count()}, {"list", std::move(list)}};
    part["history"] = bounds.history ? history_json(record.history) : Json(nullptr);
}

Json page_data(const SourceReport& report, const PageBounds& bounds) {
    Json source = {{"source", without_passwords(report.name)}, {"interrupted", report.interrupted}};
    source["error"] = report.failure ? Json{{"message", report.failure->message}} : Json(nullptr);
    cut_to(source, bounds);
    std::visit(PartWriter{report, bounds, source}, report.content);
    return source;
}

}  // namespace zvprobe
