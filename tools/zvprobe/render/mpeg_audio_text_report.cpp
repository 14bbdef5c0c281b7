// SPDX-License-Identifier: MIT
// The text about an MPEG audio source.
#include <algorithm>
#include <utility>

#include "audio/mpeg_audio_report.h"
#include "render/text_parts.h"
#include "render/text_report.h"

namespace zvprobe {
namespace {

class MpegAudioPrinter {
  public:
    MpegAudioPrinter(std::ostream& out, const MpegAudioReport& report, const Style& style)
        : out_(out), report_(report), reading_(report.reading), style_(style) {}

    void print() const {
        print_format();
        print_library();
        print_frames();
        print_tags();
        print_stray();
    }

  private:
    std::ostream& line(std::string_view label) const { return begin_line(out_, style_, label); }

    void print_format() const {
        const MpegAudioHeader& first = *report_.first;
        line("format") << version_name(first.version) << " audio, Layer "
                       << std::string(static_cast<size_t>(first.layer), 'I') << '\n';
        line("first frame") << "at byte " << report_.first_offset << ": " << first.bitrate
                            << " kbit/s, " << first.sample_rate << " Hz, " << mode_name(first.mode)
                            << (first.crc ? ", with CRC" : "") << '\n';
    }

    // The library's line stands as it is, with a mark where it says something else.
    void print_library() const {
        line("library") << (report_.library_info.empty() ? "finds no header"
                                                         : report_.library_info);
        const char* separator = " (the library's reading differs in ";
        for (const char* member : report_.differences) {
            std::string words(member);
            std::ranges::replace(words, '_', ' ');
            out_ << std::exchange(separator, ", ") << words;
        }
        out_ << (report_.differences.empty() ? "\n" : ")\n");
    }

    void print_frames() const {
        line("frames") << reading_.frames << " in " << counted(reading_.bytes, "byte", "bytes");
        if (!report_.info_frame.empty())
            out_ << ", the first without sound (" << report_.info_frame << ')';
        out_ << '\n';
        line("duration") << fixed(report_.duration, 3) << " s\n";
        line("bit rate");
        if (report_.is_variable())
            out_ << "variable, " << report_.lowest_bitrate << " to " << report_.highest_bitrate
                 << " kbit/s, ";
        else
            out_ << "constant, " << report_.lowest_bitrate << " kbit/s, ";
        out_ << "average " << fixed(report_.average_bitrate(), 1) << '\n';
    }

    void print_tags() const {
        if (reading_.id3v2_tags != 0)
            line("ID3v2") << counted(reading_.id3v2_tags, "tag", "tags") << ", "
                          << counted(reading_.id3v2_bytes, "byte", "bytes") << " skipped\n";
        if (reading_.id3v1_tags != 0)
            line("ID3v1") << counted(reading_.id3v1_tags, "tag", "tags") << ", "
                          << counted(reading_.id3v1_bytes, "byte", "bytes") << " skipped\n";
    }

    void print_stray() const {
        line("in no frame") << marked(style_, reading_.stray_bytes == 0,
                                      counted(reading_.stray_bytes, "byte", "bytes"))
                            << '\n';
        print_first(out_, style_, reading_.stray, gap_text);
        if (reading_.trailing_bytes != 0)
            line("cut off") << style_.bad("the last frame") << ", "
                            << counted(reading_.trailing_bytes, "byte", "bytes") << " left of it\n";
    }

    std::ostream& out_;
    const MpegAudioReport& report_;
    const MpegAudioReading& reading_;
    const Style& style_;
};

}  // namespace

void print_text(std::ostream& out, const MpegAudioReport& report, const TextOptions& options) {
    MpegAudioPrinter(out, report, options.style).print();
}

}  // namespace zvprobe
