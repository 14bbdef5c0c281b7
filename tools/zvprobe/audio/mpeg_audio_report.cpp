// SPDX-License-Identifier: MIT
// Implementation of mpeg_audio_report.h.
#include "audio/mpeg_audio_report.h"

#include <algorithm>
#include <array>

#include "mp3.h"

namespace zvprobe {
namespace {

using Frame = MpegAudioWalk::Frame;

// The library's numbers for them.
uint32_t library_version(MpegAudioHeader::Version version) {
    switch (version) {
        case MpegAudioHeader::Version::k1:
            return ZV_MP3_VERSION_1;
        case MpegAudioHeader::Version::k2:
            return ZV_MP3_VERSION_2;
        default:
            return ZV_MP3_VERSION_2_5;
    }
}

void ask_library(MpegAudioReport& report, const Frame& frame) {
    constexpr size_t kRoom = ZV_MP3_INFO_MAX;
    MP3HeaderInfo info = {};
    if (mp3_api_check(&info, frame.bytes.data(), MpegAudioHeader::kSize) == 0) return;
    std::string text(kRoom, '\0');
    mp3_api_getInfo(&info, text.data());
    report.library_info = text.substr(0, text.find('\0'));

    const MpegAudioHeader& own = frame.head.header;
    const auto compare = [&report](bool same, const char* member) {
        if (!same) report.differences.push_back(member);
    };
    compare(info.version == library_version(own.version), "version");
    compare(info.layer == static_cast<uint32_t>(4 - own.layer), "layer");
    compare(info.bitrate == static_cast<int32_t>(own.bitrate), "bit_rate");
    compare(info.samplerate == static_cast<int32_t>(own.sample_rate), "sample_rate");
    compare(info.channel_mode == static_cast<uint32_t>(own.mode), "channel_mode");
}

class ReportBuilder {
  public:
    explicit ReportBuilder(const MpegAudioProbeOptions& options) : options_(options) {}

    void add(const Frame& frame) {
        const bool sound = !is_info_frame(frame);
        if (sound) add_sound(frame);
        if (options_.on_frame) options_.on_frame(frame, sound);
    }

    void add(const AudioTag& tag, std::span<const uint8_t> first_bytes) {
        constexpr std::array kByWorth = {AudioTagKind::kId3v2, AudioTagKind::kApe,
                                         AudioTagKind::kId3v1};
        for (size_t i = 0; i < kByWorth.size(); ++i)
            if (tag.kind == kByWorth[i]) texts_[i].fill_from(read_tag_texts(tag.kind, first_bytes));
        if (options_.on_tag) options_.on_tag(tag, first_bytes);
    }

    MpegAudioReport finish(const MpegAudioReading& reading) {
        report_.reading = reading;
        close_section();
        for (const TagTexts& texts : texts_)
            report_.texts.fill_from(texts);
        if (report_.first) judge_info();
        report_.duration = report_.frames_duration - silence();
        return std::move(report_);
    }

  private:
    bool is_info_frame(const Frame& frame) {
        if (report_.first) return false;
        if (auto info = read_info_frame(frame.head.header, frame.bytes)) {
            report_.info = std::move(info);
            report_.info->offset = frame.offset;
        }
        set_first(frame);
        return report_.info.has_value();
    }

    void set_first(const Frame& frame) {
        report_.first = frame.head.header;
        report_.first_offset = frame.offset;
        report_.free_format = frame.head.free;
        report_.library_info.clear();
        report_.differences.clear();
        ask_library(report_, frame);
    }

    void add_sound(const Frame& frame) {
        const MpegAudioHeader& header = frame.head.header;
        if (report_.sound_frames == 0) {
            set_first(frame);
            report_.lowest_bitrate = header.bitrate;
        } else if (!header.continues(last_)) {
            report_.changes.add({frame.offset, header});
            tell({MpegAudioFinding::Kind::kChange, frame.offset, 0, 0, header});
        }
        last_ = header;
        report_.lowest_bitrate = std::min(report_.lowest_bitrate, header.bitrate);
        report_.highest_bitrate = std::max(report_.highest_bitrate, header.bitrate);
        ++report_.sound_frames;
        report_.sound_bytes += frame.bytes.size();
        add_samples(header);
        if (header.crc) check_crc(frame);
    }

    void check_crc(const Frame& frame) {
        ++report_.protected_frames;
        const auto crc = check_frame_crc(frame.head.header, frame.bytes);
        if (!crc || crc->told == crc->found) return;
        report_.wrong_crcs.add({frame.offset, *crc});
        tell({MpegAudioFinding::Kind::kCrc, frame.offset, crc->found, crc->told});
    }

    // Samples are added up as long as the rate stays: the sum of fractions of seconds would drift.
    void add_samples(const MpegAudioHeader& header) {
        if (header.sample_rate != rate_) close_section();
        rate_ = header.sample_rate;
        samples_ += header.samples();
    }

    void close_section() {
        if (rate_ != 0) report_.frames_duration += static_cast<double>(samples_) / rate_;
        samples_ = 0;
    }

    // Some encoders count the info frame itself, some do not; and some count tags as bytes.
    void judge_info() {
        using Kind = MpegAudioFinding::Kind;
        if (report_.lacks_info()) tell({Kind::kNoInfoFrame, report_.first_offset});
        if (!report_.info || report_.reading.cut_short) return;
        const InfoFrame& info = *report_.info;
        const MpegAudioReading& reading = report_.reading;
        if (!report_.ends_as_encoded()) {
            report_.info_differences.push_back("frames");
            tell({Kind::kInfoFrames, info.offset, report_.sound_frames, *info.frames});
        }
        if (info.bytes && *info.bytes != report_.sound_bytes &&
            *info.bytes != reading.frame_bytes && *info.bytes != reading.bytes) {
            report_.info_differences.push_back("bytes");
            tell({Kind::kInfoBytes, info.offset, reading.frame_bytes, *info.bytes});
        }
    }

    // -> seconds. The end is not the encoder's when there are more or fewer frames than it counted.
    double silence() const {
        if (!report_.info || report_.sound_frames == 0) return 0;
        const InfoFrame& info = *report_.info;
        const uint32_t samples = info.delay + (report_.ends_as_encoded() ? info.padding : 0);
        return std::min(report_.frames_duration,
                        static_cast<double>(samples) / report_.first->sample_rate);
    }

    void tell(const MpegAudioFinding& finding) const {
        if (options_.on_finding) options_.on_finding(finding);
    }

    const MpegAudioProbeOptions& options_;
    MpegAudioReport report_;
    std::array<TagTexts, 3> texts_;  // the most telling first
    MpegAudioHeader last_ = {};
    uint64_t samples_ = 0;
    uint32_t rate_ = 0;
};

}  // namespace

bool MpegAudioReport::ends_as_encoded() const {
    if (reading.cut_short) return false;
    return !info || !info->frames || *info->frames == sound_frames ||
           *info->frames == reading.frames;
}

double MpegAudioReport::average_bitrate() const {
    if (frames_duration == 0) return 0;
    return static_cast<double>(sound_bytes) * 8 / frames_duration / 1000;
}

MpegAudioReport probe_mpeg_audio(Source& source, std::span<const uint8_t> first_window,
                                 const MpegAudioProbeOptions& options) {
    constexpr uint64_t kProgressMask = 4095;
    ByteCursor cursor(source, first_window);
    ReportBuilder builder(options);
    MpegAudioListeners listeners;
    listeners.on_finding = options.on_finding;
    listeners.on_tag = [&builder](const AudioTag& tag, std::span<const uint8_t> first_bytes) {
        builder.add(tag, first_bytes);
    };
    MpegAudioWalk walk(cursor, listeners);
    while (const auto frame = walk.next()) {
        builder.add(*frame);
        if ((walk.reading().frames & kProgressMask) == 0 && options.on_progress)
            options.on_progress(walk.reading().bytes);
    }
    return builder.finish(walk.reading());
}

bool has_findings(const MpegAudioReport& report) {
    return report.reading.stray_bytes != 0 || report.reading.trailing_bytes != 0 ||
           report.wrong_crcs.count() != 0 || report.changes.count() != 0 ||
           !report.info_differences.empty();
}

}  // namespace zvprobe
