// SPDX-License-Identifier: MIT
// `flv-meta`: a copy of an FLV file with a fresh onMetaData block. The file is walked first, then
// its tags are copied as they are.
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <vector>

#include "base/bytes.h"
#include "base/exit_status.h"
#include "base/printable.h"
#include "commands/commands.h"
#include "commands/copy_command.h"
#include "flv/flv_copy.h"
#include "flv/flv_probe.h"
#include "io/output/out_file.h"
#include "io/source.h"
#include "render/flv/flv_finding_text.h"
#include "render/progress.h"
#include "render/terminal.h"

namespace zvprobe {
namespace {

FlvReport walk(const std::string& in, const Session& session, FlvCopyList& list) {
    const auto source = open_source(in);
    if (!source->size()) throw CopyError(kExitCannotOpen, "not a file, which is read twice");
    const auto first_window = first_window_of(*source);
    if (!starts_like_flv(first_window)) throw CopyError(kExitUnknownFormat, "not an FLV file");
    FlvProbeOptions options;
    options.on_tag = [&list](const FlvTag& tag, const FlvTagFacts& facts) { list.add(tag, facts); };
    FindingLog findings(in, session.verbosity > 0);
    options.on_finding = telling(findings);
    FlvReport report = probe_flv(*source, first_window, options);
    check_reading(*source);
    if (report.audio_tags + report.video_tags == 0)
        throw CopyError(kExitUnknownFormat, "has neither audio nor video");
    check_account(report.reading.accounted_bytes(), *source->size());
    return report;
}

// Writes the listed tags, and counts what it writes.
class TagCopy {
  public:
    TagCopy(Source& source, OutFile& out, FlvTimeShift& shift)
        : cursor_(source, source.next(0)), out_(out), shift_(shift) {}

    // -> false where the source ends before the piece does
    bool add(const FlvCopyList::Piece& piece) {
        cursor_.skip(piece.offset - cursor_.position());
        const bool whole = shift_.moves() ? copy_moved(piece.length) : copy(piece.length);
        if (!whole || !piece.size_word) return whole;
        uint8_t word[ZV_FLV_PREVIOUS_TAG_SIZE];
        store_big_endian(word, *piece.size_word);
        write(word);
        return true;
    }

    // Are these the tags that were walked?
    bool is_of(const FlvCopyList& list) const {
        return bytes_ == list.bytes() && counter_.tags() == list.tags() &&
               counter_.is_between_tags();
    }

  private:
    // -> false where the source ends before, as the next does
    bool copy(uint64_t length) {
        for (uint64_t left = length; left > 0;) {
            const auto bytes = cursor_.take(left);
            if (bytes.empty()) return false;
            write(bytes);
            left -= bytes.size();
        }
        return true;
    }

    // Tag by tag; the last one may lack its size word, which is written after the piece.
    bool copy_moved(uint64_t length) {
        for (uint64_t left = length; left > 0;) {
            header_.clear();
            cursor_.read(ZV_FLV_TAG_HEADER_SIZE, header_);
            if (header_.size() < ZV_FLV_TAG_HEADER_SIZE) return false;
            const std::span header(header_);
            const uint32_t moved = shift_.moved_stamp(bytes_, flv_timestamp(header));
            store_big_endian(header.subspan(4, 3), moved);
            header[7] = static_cast<uint8_t>(moved >> 24);
            const uint64_t body = big_endian(header.subspan(1, 3)) + ZV_FLV_PREVIOUS_TAG_SIZE;
            write(header);
            left -= std::min<uint64_t>(left, header.size());
            const uint64_t rest = std::min(left, body);
            if (!copy(rest)) return false;
            left -= rest;
        }
        return true;
    }

    void write(std::span<const uint8_t> bytes) {
        out_.write(bytes);
        counter_.take(bytes);
        bytes_ += bytes.size();
    }

    ByteCursor cursor_;
    OutFile& out_;
    FlvTimeShift& shift_;
    std::vector<uint8_t> header_;
    FlvTagCounter counter_;
    uint64_t bytes_ = 0;
};

FlvTimeShift shift_for(const FlvMetaOptions& options, const FlvReport& report,
                       const FlvCopyList& list) {
    if (!options.rebase || report.times.empty()) return {};
    FlvTimeShift shift(report.times, list);
    if (!shift.fits())
        throw CopyError(kExitCannotOpen, "is too long for its time stamps, nothing is written");
    return shift;
}

void copy(const FlvMetaOptions& options, const Session& session, const FlvReport& report,
          const FlvCopyList& list) {
    FlvTimeShift shift = shift_for(options, report, list);
    const auto source = open_source(options.in);
    Progress progress(list.bytes(), !session.quiet && is_terminal(STDERR_FILENO));
    OutFile out(options.out);
    TagCopy tags(*source, out, shift);
    out.write(make_flv_start(report, list, shift));
    for (const FlvCopyList::Piece& piece : list.pieces()) {
        if (!tags.add(piece)) break;
        progress.show(out.written());
    }
    check_reading(*source);
    if (!tags.is_of(list))
        throw CopyError(kExitCannotOpen, "changed while it was read, nothing is written");
    out.commit();
    if (!session.quiet && !is_standard_output(options.out)) {
        std::cout << printable(options.out) << ": " << list.tags() << " tags after onMetaData, "
                  << out.written() << " bytes\n";
    }
}

void warn_of_damage(const FlvMetaOptions& options, const FlvReading& reading) {
    const uint64_t left_out = reading.skipped_bytes + reading.trailing_bytes;
    if (left_out != 0)
        complain(options.in, std::to_string(left_out) + " bytes of no whole tag are left out");
    if (const uint64_t wrong = reading.mismatches.count(); wrong != 0)
        complain(options.in, std::to_string(wrong) + " size words are put right");
}

int rewrite(const FlvMetaOptions& options, const Session& session) {
    FlvCopyList list;
    const FlvReport report = walk(options.in, session, list);
    if (list.loses_old_values()) complain(options.in, "not all of the old onMetaData can be kept");
    warn_of_damage(options, report.reading);
    copy(options, session, report, list);
    return kExitOk;
}

}  // namespace

int run_command(const FlvMetaOptions& options, const Session& session) {
    return run_copy(options, [&] { return rewrite(options, session); });
}

}  // namespace zvprobe
