// SPDX-License-Identifier: MIT
// `mp3-fix`: a copy of an MPEG audio file without damage, its tags kept, with an info frame that is
// right. The file is walked first, then its frames are copied as they are.
#include <unistd.h>

#include <iostream>

#include "audio/mpeg_audio_copy.h"
#include "base/exit_status.h"
#include "base/printable.h"
#include "base/texts.h"
#include "commands/commands.h"
#include "commands/copy_command.h"
#include "commands/parts/format_detect.h"
#include "io/output/out_file.h"
#include "io/source.h"
#include "render/audio/mpeg_audio_findings.h"
#include "render/progress.h"
#include "render/terminal.h"

namespace zvprobe {
namespace {

// No count or seek table could speak for several streams, and of a short one without what stood
// around it less would be sure.
void check_changes(const MpegAudioReport& report) {
    if (report.changes.count() == 0) return;
    const AudioChange& change = report.changes.kept().front();
    throw CopyError(kExitUnknownFormat, "several streams: from byte " +
                                            std::to_string(change.offset) + " on " +
                                            kind_text(change.header) + ", " +
                                            std::to_string(change.header.sample_rate) + " Hz");
}

// At a free bit rate a frame ends where the next one begins: without what comes between them, or
// with few of them, another size might be read out of the copy.
void check_free_frames(const MpegAudioReading& reading, const MpegAudioCopyList& list) {
    constexpr uint64_t kFewest = 5;
    if (list.free_frames() == 0) return;
    const bool whole = reading.stray_bytes == 0 && list.tag_bytes_left_out() == 0;
    if (!whole || list.free_frames() != list.frame_count() || list.frame_count() < kFewest)
        throw CopyError(kExitUnknownFormat, "at a free bit rate, where its frames end is not sure");
}

MpegAudioReport walk(const std::string& in, const Session& session, MpegAudioCopyList& list) {
    const auto source = open_source(in);
    const auto first_window = first_window_of(*source);
    if (!std::holds_alternative<MpegAudioStart>(detect_format(first_window, source->at_end())))
        throw CopyError(kExitUnknownFormat, "not MPEG audio");
    if (!source->size()) throw CopyError(kExitCannotOpen, "not a file, which is read twice");
    FindingLog findings(in, session.verbosity > 0);
    MpegAudioProbeOptions options;
    options.on_finding = teller_of(findings);
    options.on_tag = [&list](const AudioTag& tag, std::span<const uint8_t>) { list.add(tag); };
    options.on_frame = [&list](const MpegAudioWalk::Frame& frame, bool sound) {
        list.add(frame, sound);
    };
    MpegAudioReport report = probe_mpeg_audio(*source, first_window, options);
    check_reading(*source);
    if (list.frames().empty()) throw CopyError(kExitUnknownFormat, "no MPEG audio with sound");
    check_account(report.reading.accounted_bytes(), *source->size());
    check_changes(report);
    check_free_frames(report.reading, list);
    return report;
}

// Copies pieces of the source in their order; where that ends early, no more of them.
class PieceCopy {
  public:
    PieceCopy(Source& source, OutFile& out, Progress& progress)
        : cursor_(source, source.next(0)), out_(out), progress_(progress) {}

    // crc: takes what is copied; may be null
    void add(const MpegAudioCopyList::Pieces& pieces, InfoCrc* crc) {
        for (const MpegAudioCopyList::Piece& piece : pieces) {
            cursor_.skip(piece.offset - cursor_.position());
            for (uint64_t left = piece.length; left > 0;) {
                const auto bytes = cursor_.take(left);
                if (bytes.empty()) return;
                out_.write(bytes);
                if (crc != nullptr) crc->take(bytes);
                left -= bytes.size();
            }
            progress_.show(out_.written());
        }
    }

  private:
    ByteCursor cursor_;
    OutFile& out_;
    Progress& progress_;
};

void copy(const Mp3FixOptions& options, const Session& session, const MpegAudioCopyList& list,
          std::span<const uint8_t> info) {
    const auto source = open_source(options.in);
    Progress progress(list.bytes(), !session.quiet && is_terminal(STDERR_FILENO));
    OutFile out(options.out);
    PieceCopy pieces(*source, out, progress);
    InfoCrc crc;
    pieces.add(list.tags_before(), nullptr);
    out.write(info);
    pieces.add(list.frames(), &crc);
    pieces.add(list.tags_after(), nullptr);
    check_reading(*source);
    if (out.written() != info.size() + list.bytes() || crc.value() != list.sound_crc())
        throw CopyError(kExitCannotOpen, "changed while it was read, nothing is written");
    out.commit();
    if (!session.quiet && !is_standard_output(options.out)) {
        std::cout << printable(options.out) << ": " << list.frame_count() << " frames"
                  << (info.empty() ? ", no info frame, " : " after an info frame, ")
                  << out.written() << " bytes\n";
    }
}

void warn_of_damage(const std::string& in, const MpegAudioReport& report,
                    const MpegAudioCopyList& list) {
    const MpegAudioReading& reading = report.reading;
    const auto warn = [&in](uint64_t bytes, const char* what) {
        if (bytes != 0) complain(in, counted(bytes, "byte", "bytes") + what);
    };
    warn(reading.stray_bytes + reading.trailing_bytes, " of no whole frame left out");
    warn(list.tag_bytes_left_out(), " of tags between frames left out");
    warn(reading.riff_bytes, " of RIFF left out");
}

int rewrite(const Mp3FixOptions& options, const Session& session) {
    MpegAudioCopyList list;
    const MpegAudioReport report = walk(options.in, session, list);
    warn_of_damage(options.in, report, list);
    copy(options, session, list, list.make_info(report));
    return kExitOk;
}

}  // namespace

int run_command(const Mp3FixOptions& options, const Session& session) {
    return run_copy(options, [&] { return rewrite(options, session); });
}

}  // namespace zvprobe
