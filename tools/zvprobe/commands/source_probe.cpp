// SPDX-License-Identifier: MIT
// Implementation of source_probe.h.
#include "commands/source_probe.h"

#include <unistd.h>

#include <new>
#include <utility>

#include "base/interrupt.h"
#include "commands/parts/format_detect.h"
#include "commands/parts/record_media.h"
#include "commands/parts/ts_probe.h"
#include "flv/flv_probe.h"
#include "io/source.h"
#include "render/audio/mpeg_audio_findings.h"
#include "render/flv/flv_finding_text.h"
#include "render/progress.h"
#include "render/terminal.h"

namespace zvprobe {
namespace {

Pace pace_of(const std::string& name) {
    if (name.empty()) return Pace::kNone;
    return name == "pts" ? Pace::kPts : Pace::kPcr;
}

Failure cannot_open(const std::string& message) {
    return {"cannot_open", kExitCannotOpen, message};
}

Failure read_error(const std::string& message) {
    return {"read_error", kExitCannotOpen, message};
}

Failure unknown_format() {
    const char* const reason =
        interrupted() ? "interrupted before its format was known" : "not a known format";
    return {"unknown_format", kExitUnknownFormat, reason};
}

// Reads one source; one object for each call.
class SourceProbe {
  public:
    SourceProbe(const std::string& name, const ProbeOptions& options, const Session& session)
        : options_(options), session_(session), findings_(name, session.verbosity > 0) {
        report_.name = name;
    }

    SourceReport run() {
        try {
            // Its bytes are names.
            if (report_.name == "-" && options_.files_from == "-")
                throw SourceError("standard input is the list of sources");
            const auto source = open_source(report_.name);
            read(*source);
        } catch (const SourceError& error) {
            report_.failure = cannot_open(error.what());
        } catch (const std::bad_alloc&) {
            report_.failure = read_error("out of memory");
        }
        report_.interrupted = interrupted();
        return std::move(report_);
    }

  private:
    void read(Source& source) {
        const auto first_window = source.next(0);
        const DetectedFormat format = detect_format(first_window, source.at_end());
        if (std::holds_alternative<TransportStream>(format)) {
            read_transport_stream(source, first_window);
        } else if (std::holds_alternative<FlvStart>(format)) {
            report_.content = read_flv(source, first_window);
        } else if (std::holds_alternative<MpegAudioStart>(format)) {
            read_mpeg_audio(source, first_window);
        } else {
            report_.failure = unknown_format();
        }
        if (!source.error().empty()) report_.failure = read_error(source.error());
    }

    void read_transport_stream(Source& source, std::span<const uint8_t> first_window) {
        Progress progress = make_progress(source);
        TsProbeOptions options;
        options.pace = pace_of(options_.pace);
        options.live = source.origin() == Source::Origin::kNetwork && options_.pace.empty();
        options.statistics = options_.statistics;
        options.history = options_.history || !options_.html.empty();
        options.limits = options_.limits;
        options.on_progress = [&progress](uint64_t bytes) { progress.show(bytes); };
        TsReport report = probe_transport_stream(findings_, source, first_window, options);
        if (report.has_packets())
            report_.content = std::move(report);
        else
            report_.failure = unknown_format();
    }

    FlvReport read_flv(Source& source, std::span<const uint8_t> first_window) {
        Progress progress = make_progress(source);
        FlvProbeOptions options;
        options.on_progress = [&progress](uint64_t bytes) { progress.show(bytes); };
        options.on_finding = telling(findings_);
        if (!options_.html.empty()) record_flv(report_.media.emplace(), options);
        return probe_flv(source, first_window, options);
    }

    // After a large tag there may be anything.
    void read_mpeg_audio(Source& source, std::span<const uint8_t> first_window) {
        Progress progress = make_progress(source);
        MpegAudioProbeOptions options;
        options.on_finding = teller_of(findings_);
        options.on_progress = [&progress](uint64_t bytes) { progress.show(bytes); };
        if (!options_.html.empty()) record_mpeg_audio(report_.media.emplace(), options);
        MpegAudioReport report = probe_mpeg_audio(source, first_window, options);
        if (report.first)
            report_.content = std::move(report);
        else
            report_.failure = unknown_format();
    }

    Progress make_progress(const Source& source) const {
        const bool draw = !session_.quiet && options_.pace.empty() && is_terminal(STDERR_FILENO);
        return Progress(source.size().value_or(0), draw);
    }

    const ProbeOptions& options_;
    const Session& session_;
    FindingLog findings_;
    SourceReport report_;
};

struct FindingsSeeker {
    const IndicatorChoice& choice;

    bool operator()(const std::monostate&) const { return false; }
    bool operator()(const TsReport& report) const { return has_findings(report, choice); }
    template <typename Report>
    bool operator()(const Report& report) const {
        return has_findings(report);
    }
};

}  // namespace

SourceReport probe_source(const std::string& name, const ProbeOptions& options,
                          const Session& session) {
    return SourceProbe(name, options, session).run();
}

SourceReport failed_report(const std::string& name, const std::string& why) {
    SourceReport report;
    report.name = name;
    report.failure = read_error(why);
    return report;
}

ExitStatus status_of(const SourceReport& report, const ProbeOptions& options) {
    if (report.failure) return report.failure->status;
    if (!options.strict) return kExitOk;
    return std::visit(FindingsSeeker{options.indicators}, report.content) ? kExitFindings : kExitOk;
}

}  // namespace zvprobe
