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
            {"info_frame", text_or_null(report.info_frame)},
            {"duration_s", report.duration},
            {"bit_rate_bps",
             {{"variable", report.is_variable()},
              {"lowest", report.lowest_bitrate * 1000},
              {"highest", report.highest_bitrate * 1000},
              {"average", report.average_bitrate() * 1000}}},
            {"id3v2", {{"tags", reading.id3v2_tags}, {"bytes", reading.id3v2_bytes}}},
            {"id3v1", {{"tags", reading.id3v1_tags}, {"bytes", reading.id3v1_bytes}}},
            {"stray", stray_json(reading)},
            {"trailing_bytes", reading.trailing_bytes}};
}

}  // namespace zvprobe
