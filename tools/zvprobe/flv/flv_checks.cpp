// SPDX-License-Identifier: MIT
// Implementation of flv_checks.h.
#include "flv/flv_checks.h"

#include <algorithm>
#include <cmath>

namespace zvprobe {
namespace {

class Comparison {
  public:
    explicit Comparison(const FlvReport& report) : report_(report) {}

    // tolerance: what the two may be apart
    void number(std::string_view key, double measured, double tolerance, bool is_error = true) {
        const AmfValue* const stated = said(key);
        if (stated == nullptr || stated->type != AmfValue::Type::kNumber || measured == 0) return;
        // Written this way round so that NaN differs from everything.
        if (std::abs(stated->number - measured) <= tolerance) return;
        out_.push_back({std::string(key), *stated, measured, is_error});
    }

    void relative(std::string_view key, double measured, double part, bool is_error = true) {
        number(key, measured, measured * part, is_error);
    }

    void codec(std::string_view key, const FlvCodec& codec) {
        const AmfValue* const stated = said(key);
        if (stated == nullptr) return;
        const bool right = stated->type == AmfValue::Type::kText
                               ? codec.is_named_by(stated->text)
                               : codec.is_named_by(stated->number);
        if (!right) out_.push_back({std::string(key), *stated, codec.metadata_id(), true});
    }

    std::vector<MetadataDifference> take() { return std::move(out_); }

  private:
    const AmfValue* said(std::string_view key) const {
        const AmfValue* const value = report_.metadata(key);
        if (value == nullptr) return nullptr;
        const bool number = value->type == AmfValue::Type::kNumber && value->number != 0;
        const bool text = value->type == AmfValue::Type::kText && !value->text.empty();
        return number || text ? value : nullptr;
    }

    const FlvReport& report_;
    std::vector<MetadataDifference> out_;
};

constexpr double kAimedRate = 0.1;   // what a data rate may be off before it is worth a word
constexpr double kFrameRate = 0.05;  // likewise of the stamps, which are whole milliseconds

void compare_video(Comparison& comparison, const FlvReport& report) {
    constexpr uint64_t kEnoughFrames = 10;
    const FlvVideo& video = report.video;
    comparison.codec("videocodecid", video.codec());
    if (video.size) {
        comparison.number("width", video.size->width, 0);
        comparison.number("height", video.size->height, 0);
    }
    if (video.frames >= kEnoughFrames)
        comparison.relative("framerate", video_frame_rate(report), kFrameRate);
    comparison.relative("videodatarate", report.metadata_rate(video), kAimedRate, false);
}

void compare_audio(Comparison& comparison, const FlvReport& report) {
    constexpr double kRate = 0.01;  // 5.5 kHz is 5512.5 Hz, and written as any of them
    const FlvAudio& audio = report.audio;
    comparison.codec("audiocodecid", audio.codec());
    const AmfValue* const rate = report.metadata("audiosamplerate");
    const bool core = audio.aac && rate != nullptr && rate->number == audio.aac->core_rate;
    if (!core) comparison.relative("audiosamplerate", audio.sound.sample_rate, kRate);
    comparison.relative("audiodatarate", report.metadata_rate(audio), kAimedRate, false);
}

}  // namespace

std::vector<MetadataDifference> compare_metadata(const FlvReport& report) {
    constexpr double kDuration = 1;  // s
    Comparison comparison(report);
    comparison.number("duration", report.duration(), kDuration);
    comparison.number("filesize", static_cast<double>(report.reading.bytes), 0);
    if (report.video.frames != 0) compare_video(comparison, report);
    if (report.audio.frames != 0) compare_audio(comparison, report);
    return comparison.take();
}

bool flags_are_right(const FlvReport& report) {
    return report.reading.claims_audio() == (report.audio_tags != 0) &&
           report.reading.claims_video() == (report.video_tags != 0);
}

bool has_wrong_facts(const FlvReport& report) {
    const auto lacks_config = [](const auto& numbered) {
        return numbered.second.frames_without_config != 0;
    };
    return report.times.steps().count() != 0 || report.audio.frames_without_config != 0 ||
           report.video.frames_without_config != 0 ||
           std::ranges::any_of(report.more_audio, lacks_config) ||
           std::ranges::any_of(report.more_video, lacks_config) ||
           report.reading.stream_id_tags != 0 || (report.whole && !flags_are_right(report)) ||
           std::ranges::any_of(report.differences, &MetadataDifference::is_error);
}

}  // namespace zvprobe
