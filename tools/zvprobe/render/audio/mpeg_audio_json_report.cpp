// SPDX-License-Identifier: MIT
// The JSON about an MPEG audio source.
#include "audio/mpeg_audio_report.h"
#include "base/json.h"
#include "render/json_report.h"

namespace zvprobe {
namespace {

Json first_frame_json(const MpegAudioReport& report) {
    const MpegAudioHeader& header = *report.first;
    return {{"offset", report.first_offset},
            {"version", version_name(header.version)},
            {"layer", header.layer},
            {"bit_rate_bps", header.bitrate * 1000},
            {"sample_rate", header.sample_rate},
            {"channel_mode", mode_name(header.mode)},
            {"crc", header.crc}};
}

Json info_json(const MpegAudioReport& report) {
    if (!report.info) return nullptr;
    const InfoFrame& info = *report.info;
    const auto or_null = [](const std::optional<uint32_t>& number) {
        return number ? Json(*number) : Json(nullptr);
    };
    const bool encoded = !info.extension.empty();
    Json differences = Json::array();
    for (const char* member : report.info_differences)
        differences.push_back(member);
    return {{"offset", info.offset},
            {"frames", or_null(info.frames)},
            {"bytes", or_null(info.bytes)},
            {"differs_in", differences},
            {"seek_table", info.seek_table},
            {"encoder", text_or_null(info.encoder)},
            {"delay_samples", encoded ? Json(info.delay) : Json(nullptr)},
            {"padding_samples", encoded ? Json(info.padding) : Json(nullptr)}};
}

Json texts_json(const TagTexts& texts) {
    return {{"title", text_or_null(texts.title)},
            {"artist", text_or_null(texts.artist)},
            {"album", text_or_null(texts.album)}};
}

Json count_json(const TagCount& count) {
    return {{"tags", count.tags}, {"bytes", count.bytes}};
}

Json crc_json(const MpegAudioReport& report) {
    const auto wrong_json = [](const WrongCrc& wrong) -> Json {
        return {{"offset", wrong.offset}, {"told", wrong.crc.told}, {"found", wrong.crc.found}};
    };
    return {{"frames", report.protected_frames},
            {"wrong", report.wrong_crcs.count()},
            {"wrong_list", list_json(report.wrong_crcs, wrong_json)}};
}

Json changes_json(const MpegAudioReport& report) {
    const auto change_json = [](const AudioChange& change) -> Json {
        return {{"offset", change.offset},
                {"version", version_name(change.header.version)},
                {"layer", change.header.layer},
                {"sample_rate", change.header.sample_rate}};
    };
    return {{"count", report.changes.count()},
            {"change_list", list_json(report.changes, change_json)}};
}

Json stray_json(const MpegAudioReading& reading) {
    const auto run_json = [](const Gap& run) -> Json {
        return {{"offset", run.offset}, {"bytes", run.bytes}};
    };
    return {{"bytes", reading.stray_bytes},
            {"runs", reading.stray.count()},
            {"run_list", list_json(reading.stray, run_json)}};
}

}  // namespace

Json to_json(const MpegAudioReport& report) {
    const MpegAudioReading& reading = report.reading;
    Json differences = Json::array();
    for (const char* member : report.differences)
        differences.push_back(member);
    return {{"library", {{"info", text_or_null(report.library_info)}, {"differs_in", differences}}},
            {"first_frame", first_frame_json(report)},
            {"bytes", reading.bytes},
            {"frames", reading.frames},
            {"frame_bytes", reading.frame_bytes},
            {"info_frame", report.info ? Json(report.info->kind) : Json(nullptr)},
            {"info", info_json(report)},
            {"info_frame_missing", report.lacks_info()},
            {"free_format", report.free_format},
            {"duration_s", report.duration},
            {"bit_rate_bps",
             {{"variable", report.is_variable()},
              {"lowest", report.lowest_bitrate * 1000},
              {"highest", report.highest_bitrate * 1000},
              {"average", report.average_bitrate() * 1000}}},
            {"crc", crc_json(report)},
            {"changes", changes_json(report)},
            {"texts", texts_json(report.texts)},
            {"id3v2", count_json(reading.id3v2)},
            {"id3v1", count_json(reading.id3v1)},
            {"ape", count_json(reading.ape)},
            {"lyrics3", count_json(reading.lyrics3)},
            {"riff_bytes", reading.riff_bytes},
            {"stray", stray_json(reading)},
            {"trailing_bytes", reading.trailing_bytes}};
}

}  // namespace zvprobe
