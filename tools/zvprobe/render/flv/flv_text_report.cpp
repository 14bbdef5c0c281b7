// SPDX-License-Identifier: MIT
// The text about an FLV source.
#include <cmath>

#include "base/texts.h"
#include "flv/flv_checks.h"
#include "render/text_parts.h"
#include "render/text_report.h"

namespace zvprobe {
namespace {

constexpr size_t kPrintedItems = 8;
constexpr size_t kPrintedConfig = 24;
constexpr size_t kWidestKey = 40;  // after a wider one the value begins a line

std::string value_text(const AmfValue& value);

// "{a: 1, b: 2}", "[1, 2, ... 30 more]"
std::string items_text(const AmfValue& value) {
    const bool is_object = value.type == AmfValue::Type::kObject;
    std::string out = is_object ? "{" : "[";
    for (size_t i = 0; i < std::min(value.items.size(), kPrintedItems); ++i) {
        if (i > 0) out += ", ";
        if (is_object) out += printable(value.keys[i]) + ": ";
        out += value_text(value.items[i]);
    }
    if (value.items.size() > kPrintedItems)
        out += ", ... " + std::to_string(value.items.size() - kPrintedItems) + " more";
    return out + (is_object ? "}" : "]");
}

std::string value_text(const AmfValue& value) {
    switch (value.type) {
        case AmfValue::Type::kNumber:
            return number_text(value.number);
        case AmfValue::Type::kBoolean:
            return value.number != 0 ? "true" : "false";
        case AmfValue::Type::kText:
            return in_quotes(value.text);
        case AmfValue::Type::kDate:
            return number_text(value.number) + " ms since 1970";
        case AmfValue::Type::kObject:
        case AmfValue::Type::kArray:
            return items_text(value);
        case AmfValue::Type::kNothing:
            break;
    }
    return "nothing";
}

class FlvPrinter {
  public:
    FlvPrinter(std::ostream& out, const FlvReport& report, const Style& style)
        : out_(out), report_(report), reading_(report.reading), style_(style) {}

    void print() const {
        print_format();
        print_library();
        print_tags();
        if (report_.video.tags != 0) print_video(report_.video, "video", video_frame_rate(report_));
        if (report_.audio.tags != 0) print_audio(report_.audio, "audio");
        for (const auto& [id, track] : report_.more_video)
            print_video(track, "video " + std::to_string(id), 0);
        for (const auto& [id, track] : report_.more_audio)
            print_audio(track, "audio " + std::to_string(id));
        for (const FlvScript& script : report_.scripts)
            print_script(script);
        if (report_.script_tags > report_.scripts.size())
            line("script data") << "and " << report_.script_tags - report_.scripts.size()
                                << " tags more\n";
        print_checks();
        print_times();
        print_damage();
    }

  private:
    std::ostream& line(std::string_view label) const { return begin_line(out_, style_, label); }

    void print_format() const {
        line("format") << "FLV version " << +reading_.version << ", header flags "
                       << hex_byte(reading_.flags) << ": "
                       << (reading_.claims_audio() ? "audio" : "no audio") << ", "
                       << (reading_.claims_video() ? "video" : "no video") << '\n';
    }

    // The library's line is given as it stands; what it is about follows from the tags below.
    void print_library() const {
        const FlvLibraryView& library = report_.library;
        line("library") << printable(library.info);
        if (library.info.empty()) out_ << "finds neither audio nor video";
        if (!library.accepted) out_ << ", " << style_.bad("not accepted");
        out_ << '\n';
        if (report_.video_tags != 0)
            line("") << "(its frame rate and picture size are fixed values)\n";
    }

    void print_tags() const {
        line("tags") << reading_.tags << " in " << counted(reading_.bytes, "byte", "bytes") << ": "
                     << report_.audio_tags << " audio, " << report_.video_tags << " video, "
                     << report_.script_tags << " script data";
        if (report_.other_tags != 0) out_ << ", " << report_.other_tags << " of other types";
        if (report_.filtered_tags != 0) out_ << "; " << report_.filtered_tags << " encrypted";
        out_ << '\n';
        line("duration") << fixed(report_.duration(), 3) << " s";
        if (const int64_t first = report_.times.first(); first != 0)
            out_ << ", from " << fixed(static_cast<double>(first) / 1000, 3) << " s on";
        out_ << '\n';
    }

    void print_track(const FlvTrack& track, std::string_view label) const {
        line(label) << style_.heading(printable(track.codec().name())) << ", "
                    << counted(track.frames, "frame", "frames") << ", "
                    << fixed(report_.data_rate(track), 1) << " kbit/s";
    }

    void print_video(const FlvVideo& video, const std::string& label, double rate) const {
        print_track(video, label);
        out_ << ", " << counted(video.key_frames, "key frame", "key frames");
        if (rate > 0) out_ << ", " << fixed(rate, 2) << "/s";
        if (video.size) out_ << ", " << video.size->width << 'x' << video.size->height;
        out_ << '\n';
        print_missing_config(video);
        if (video.config.tags == 0) return;
        print_config(video.codec().name() + " config", video.config);
        if (video.avc)
            out_ << ": " << video.avc->profile_name << ", level " << video.avc->level_name << '\n';
        else if (video.picture && video.picture->profile[0] != '\0')
            out_ << ": " << video.picture->profile << ", level " << video.picture->level << '\n';
        else
            print_config_end(video.codec(), video.picture.has_value());
    }

    void print_audio(const FlvAudio& audio, const std::string& label) const {
        constexpr std::string_view kRates[] = {"5.5", "11", "22", "44.1"};
        print_track(audio, label);
        if (audio.sound.sample_rate != 0) out_ << ", " << audio.sound.sample_rate << " Hz";
        if (audio.sound.channels != 0)
            out_ << ", " << counted(audio.sound.channels, "channel", "channels");
        if (audio.codec().fourcc == 0)
            out_ << "; tag header: " << kRates[audio.rate_code & 3] << " kHz, "
                 << (audio.wide ? "16" : "8") << " bits, " << (audio.stereo ? "stereo" : "mono");
        out_ << '\n';
        print_missing_config(audio);
        if (audio.config.tags == 0) return;
        print_config(audio.codec().name() + " config", audio.config);
        if (audio.aac)
            out_ << ": " << audio.aac->object_name << ", " << audio.aac->sample_rate << " Hz, "
                 << counted(audio.aac->channels, "channel", "channels") << '\n';
        else
            print_config_end(audio.codec(), audio.sound.channels != 0);
    }

    void print_config_end(const FlvCodec& codec, bool read) const {
        const bool readable = needs_config(codec.media());
        if (readable && !read) out_ << ", " << style_.bad("not readable");
        out_ << '\n';
    }

    void print_missing_config(const FlvTrack& track) const {
        if (track.frames_without_config != 0)
            line("") << style_.bad(counted(track.frames_without_config, "frame", "frames") +
                                   " before the configuration that decoding needs")
                     << '\n';
    }

    void print_config(std::string_view label, const FlvConfig& config) const {
        const size_t shown = std::min(config.bytes.size(), kPrintedConfig);
        line(label) << counted(config.length, "byte", "bytes") << ' '
                    << hex_bytes(std::span(config.bytes).first(shown))
                    << (shown < config.length ? "..." : "");
        if (config.tags > 1) out_ << ", the first of " << config.tags;
        if (config.changes != 0) out_ << " with " << counted(config.changes, "change", "changes");
    }

    void print_script(const FlvScript& script) const {
        line("script data") << in_quotes(script.data.name) << " at byte " << script.offset;
        if (!script.data.complete) out_ << ", " << style_.bad("not complete");
        out_ << '\n';
        for (const AmfValue& value : script.data.values) {
            if (value.type == AmfValue::Type::kObject)
                print_members(value);
            else
                line("") << value_text(value) << '\n';
        }
    }

    void print_members(const AmfValue& object) const {
        size_t width = 0;
        for (const std::string& key : object.keys)
            width = std::max(width, std::min(display_width(printable(key)), kWidestKey));
        for (size_t i = 0; i < object.items.size(); ++i) {
            const std::string key = printable(object.keys[i]);
            line("") << padded(key, width);
            if (display_width(key) > width) {
                out_ << '\n';
                line("") << std::string(width, ' ');
            }
            out_ << "  " << value_text(object.items[i]) << '\n';
        }
    }

    void print_checks() const {
        for (const MetadataDifference& difference : report_.differences) {
            const std::string stated = difference.key + " " + value_text(difference.stated);
            line("metadata") << (difference.is_error ? style_.bad(stated) : stated) << ", found "
                             << number_text(std::round(difference.measured * 1000) / 1000) << '\n';
        }
        if (report_.meta_data_tags > 1)
            line("metadata") << report_.meta_data_tags
                             << " tags onMetaData, the first one counts\n";
        if (report_.whole && !flags_are_right(report_))
            line("header flags") << style_.bad("wrong") << ", there are " << present_tags() << '\n';
        if (reading_.stream_id_tags != 0)
            line("stream ids") << style_.bad(counted(reading_.stream_id_tags, "tag", "tags"))
                               << " with one that is not 0\n";
    }

    const char* present_tags() const {
        if (report_.audio_tags == 0)
            return report_.video_tags == 0 ? "no audio or video tags" : "video tags only";
        return report_.video_tags == 0 ? "audio tags only" : "audio and video tags";
    }

    void print_times() const {
        const FlvTimes& times = report_.times;
        if (times.steps().count() == 0) return;
        line("time stamps") << style_.bad(counted(times.back_steps(), "step back", "steps back") +
                                          ", " + counted(times.jumps(), "jump", "jumps") + ", " +
                                          counted(times.wraps(), "wrap", "wraps"))
                            << '\n';
        print_first(out_, style_, times.steps(), [](const FlvTimeStep& step) {
            const bool back = step.kind == FlvTimeStep::Kind::kBack;
            const bool jump = step.kind == FlvTimeStep::Kind::kJump;
            return "at byte " + std::to_string(step.offset) + ": " +
                   (back   ? "back"
                    : jump ? "jump"
                           : "wrap") +
                   " from " + std::to_string(step.from) + " to " + std::to_string(step.to) + " ms";
        });
    }

    void print_damage() const {
        print_size_words();
        print_losses();
        if (reading_.truncated) {
            const TruncatedTag& tag = *reading_.truncated;
            line("cut off") << style_.bad("the last tag") << ", type " << +tag.type << " at byte "
                            << tag.offset << ", has " << reading_.trailing_bytes << " of "
                            << counted(tag.size, "byte", "bytes") << '\n';
        } else if (reading_.trailing_bytes != 0) {
            line("after it") << style_.bad(counted(reading_.trailing_bytes, "trailing byte",
                                                   "trailing bytes"))
                             << '\n';
        }
    }

    void print_size_words() const {
        const uint64_t count = reading_.mismatches.count();
        line("size words") << marked(style_, count == 0, counted(count, "mismatch", "mismatches"))
                           << '\n';
        print_first(out_, style_, reading_.mismatches, [](const SizeMismatch& word) {
            return "at byte " + std::to_string(word.offset) + ": " + std::to_string(word.found) +
                   " for " + std::to_string(word.expected);
        });
    }

    void print_losses() const {
        if (reading_.losses.count() == 0) return;
        line("no tag") << style_.bad(counted(reading_.losses.count(), "place", "places")) << ", "
                       << counted(reading_.skipped_bytes, "byte", "bytes") << " skipped\n";
        print_first(out_, style_, reading_.losses, gap_text);
    }

    std::ostream& out_;
    const FlvReport& report_;
    const FlvReading& reading_;
    const Style& style_;
};

}  // namespace

void print_text(std::ostream& out, const FlvReport& report, const TextOptions& options) {
    FlvPrinter(out, report, options.style).print();
}

}  // namespace zvprobe
