// SPDX-License-Identifier: MIT
// The text about an MPEG audio source.
#include <algorithm>
#include <utility>

#include "audio/mpeg_audio_report.h"
#include "render/audio/mpeg_audio_findings.h"
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
        print_info();
        print_checks();
        print_texts();
        print_tags();
        print_stray();
    }

  private:
    std::ostream& line(std::string_view label) const { return begin_line(out_, style_, label); }

    void print_format() const {
        const MpegAudioHeader& first = *report_.first;
        line("format") << kind_text(first) << (reading_.riff_bytes != 0 ? ", in RIFF" : "") << '\n';
        line("first frame") << "at byte " << report_.first_offset << ": " << first.bitrate
                            << " kbit/s" << (report_.free_format ? " (free format)" : "") << ", "
                            << first.sample_rate << " Hz, " << mode_name(first.mode)
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
        if (report_.info) out_ << ", the first without sound (" << report_.info->kind << ')';
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

    void print_info() const {
        if (report_.lacks_info())
            line("info frame") << style_.bad("none") << ", though the bit rate varies\n";
        if (!report_.info) return;
        const InfoFrame& info = *report_.info;
        line("info frame") << info.kind;
        if (info.frames) out_ << ", " << info_count("frames", *info.frames);
        if (info.bytes) out_ << ", " << info_count("bytes", *info.bytes);
        out_ << (info.seek_table ? ", seek table\n" : "\n");
        if (info.encoder.empty()) return;
        line("encoder") << printable(info.encoder) << ", delay " << info.delay << " and padding "
                        << info.padding << " samples\n";
    }

    // What it says, and whether that is so.
    std::string info_count(const char* what, uint32_t told) const {
        const auto& wrong = report_.info_differences;
        const bool right = std::ranges::none_of(
            wrong, [what](const char* member) { return std::string_view(member) == what; });
        return marked(style_, right,
                      std::to_string(told) + ' ' + what + (right ? "" : " (not those here)"));
    }

    void print_checks() const {
        if (report_.protected_frames != 0)
            line("CRC") << counted(report_.protected_frames, "frame", "frames") << ", "
                        << marked(style_, report_.wrong_crcs.count() == 0,
                                  std::to_string(report_.wrong_crcs.count()) + " wrong")
                        << '\n';
        print_first(out_, style_, report_.wrong_crcs, [](const WrongCrc& wrong) {
            return "at byte " + std::to_string(wrong.offset);
        });
        if (report_.changes.count() != 0)
            line("changes") << style_.bad(counted(report_.changes.count(), "time", "times"))
                            << '\n';
        print_first(out_, style_, report_.changes, [](const AudioChange& change) {
            return "at byte " + std::to_string(change.offset) + ": " + kind_text(change.header) +
                   ", " + std::to_string(change.header.sample_rate) + " Hz";
        });
    }

    void print_texts() const {
        const TagTexts& texts = report_.texts;
        for (const auto& [label, text] :
             {std::pair("title", &texts.title), std::pair("artist", &texts.artist),
              std::pair("album", &texts.album)})
            if (!text->empty()) line(label) << printable(*text) << '\n';
    }

    void print_tags() const {
        for (const auto& [label, count] :
             {std::pair("ID3v2", reading_.id3v2), std::pair("ID3v1", reading_.id3v1),
              std::pair("APE tag", reading_.ape), std::pair("Lyrics3", reading_.lyrics3)})
            if (count.tags != 0)
                line(label) << counted(count.tags, "tag", "tags") << ", "
                            << counted(count.bytes, "byte", "bytes") << " skipped\n";
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
