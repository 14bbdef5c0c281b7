// SPDX-License-Identifier: MIT
// Implementation of mpeg_audio_report.h.
#include "audio/mpeg_audio_report.h"

#include <algorithm>
#include <array>
#include <string_view>

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

    const MpegAudioHeader& own = frame.header;
    const auto compare = [&report](bool same, const char* member) {
        if (!same) report.differences.push_back(member);
    };
    compare(info.version == library_version(own.version), "version");
    compare(info.layer == static_cast<uint32_t>(4 - own.layer), "layer");
    compare(info.bitrate == static_cast<int32_t>(own.bitrate), "bit_rate");
    compare(info.samplerate == static_cast<int32_t>(own.sample_rate), "sample_rate");
    compare(info.channel_mode == static_cast<uint32_t>(own.mode), "channel_mode");
}

size_t side_info_size(const MpegAudioHeader& header) {
    const bool mono = header.mode == MpegAudioHeader::Mode::kMono;
    if (header.version == MpegAudioHeader::Version::k1) return mono ? 17 : 32;
    return mono ? 9 : 17;
}

// Encoders put facts about the file where the first frame's sound would be.
std::string info_frame_of(const Frame& frame) {
    constexpr size_t kMark = 4;
    constexpr size_t kVbriOffset = MpegAudioHeader::kSize + 32;
    if (frame.header.layer != 3) return {};
    const std::string_view text(reinterpret_cast<const char*>(frame.bytes.data()),
                                frame.bytes.size());
    const size_t at = MpegAudioHeader::kSize + side_info_size(frame.header);
    for (const auto& [mark, offset] :
         {std::pair(std::string_view("Xing"), at), std::pair(std::string_view("Info"), at),
          std::pair(std::string_view("VBRI"), kVbriOffset)}) {
        if (text.size() >= offset + kMark && text.substr(offset, kMark) == mark)
            return std::string(mark);
    }
    return {};
}

class ReportBuilder {
  public:
    void add(const Frame& frame) {
        if (!report_.first) {
            report_.first = frame.header;
            report_.first_offset = frame.offset;
            ask_library(report_, frame);
            report_.info_frame = info_frame_of(frame);
            if (!report_.info_frame.empty()) return;
        }
        const MpegAudioHeader& header = frame.header;
        const uint32_t lowest = report_.sound_bytes == 0 ? header.bitrate : report_.lowest_bitrate;
        report_.lowest_bitrate = std::min(lowest, header.bitrate);
        report_.highest_bitrate = std::max(report_.highest_bitrate, header.bitrate);
        report_.sound_bytes += frame.bytes.size();
        add_samples(header);
    }

    MpegAudioReport finish(const MpegAudioReading& reading) {
        report_.reading = reading;
        close_section();
        return std::move(report_);
    }

  private:
    // Samples are added up as long as the rate stays: the sum of fractions of seconds would drift.
    void add_samples(const MpegAudioHeader& header) {
        if (header.sample_rate != rate_) close_section();
        rate_ = header.sample_rate;
        samples_ += header.samples();
    }

    void close_section() {
        if (rate_ != 0) report_.duration += static_cast<double>(samples_) / rate_;
        samples_ = 0;
    }

    MpegAudioReport report_;
    uint64_t samples_ = 0;
    uint32_t rate_ = 0;
};

}  // namespace

double MpegAudioReport::average_bitrate() const {
    return duration == 0 ? 0 : static_cast<double>(sound_bytes) * 8 / duration / 1000;
}

MpegAudioReport probe_mpeg_audio(FindingLog& findings, Source& source,
                                 std::span<const uint8_t> first_window,
                                 const std::function<void(uint64_t bytes)>& on_progress) {
    constexpr uint64_t kProgressMask = 4095;
    ByteCursor cursor(source, first_window);
    MpegAudioWalk walk(cursor, findings);
    ReportBuilder builder;
    while (const auto frame = walk.next()) {
        builder.add(*frame);
        if ((walk.reading().frames & kProgressMask) == 0 && on_progress)
            on_progress(walk.reading().bytes);
    }
    return builder.finish(walk.reading());
}

bool has_findings(const MpegAudioReport& report) {
    return report.reading.stray_bytes != 0 || report.reading.trailing_bytes != 0;
}

}  // namespace zvprobe
