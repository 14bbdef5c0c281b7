// SPDX-License-Identifier: MIT
// `extract`: the streams and tables of a transport stream into files of a directory, which get their
// names when the source was read to its end, and a list of them.
#include <unistd.h>

#include <iostream>
#include <optional>

#include "base/exit_status.h"
#include "base/interrupt.h"
#include "base/numbers.h"
#include "base/texts.h"
#include "commands/commands.h"
#include "commands/copy_command.h"
#include "commands/parts/format_detect.h"
#include "io/datagram_source.h"
#include "render/extract_report.h"
#include "render/finding_log.h"
#include "render/progress.h"
#include "ts/extract/es_extract.h"
#include "ts/survey_run.h"

namespace zvprobe {
namespace {

constexpr uint32_t kMostProgram = 0xFFFF;

ExtractRequest request_of(const ExtractOptions& options) {
    ExtractRequest request;
    request.sections = options.sections;
    for (const std::string& pid : options.pids)
        request.pids.insert(number_from(pid, 0, zv::kPidLastValid, "PID"));
    for (const std::string& program : options.programs)
        request.programs.insert(number_from(program, 1, kMostProgram, "programme"));
    return request;
}

class Extraction {
  public:
    Extraction(const ExtractOptions& options, const Session& session)
        : options_(options),
          session_(session),
          request_(request_of(options)),
          findings_(options.source, session.verbosity > 0) {}

    int run() {
        const auto source = open_source(options_.source);
        const auto window = first_window_of(*source);
        const DetectedFormat format = detect_format(window, source->at_end());
        if (!std::holds_alternative<TransportStream>(format)) return unknown_format(*source);
        OutFileSet files(options_.directory);
        EsExtract extract(request_, files);
        SurveyRun survey(
            {[this](const ZvSurveyEvent& event) { findings_.tell(event); },
             [&extract](std::span<const uint8_t> packets, size_t packet_size, uint64_t offset) {
                 extract.take(packets, packet_size, offset);
             },
             {}});
        feed(survey, *source, window);
        check_end(*source);
        if (survey.totals().packets == 0) return unknown_format(*source);
        give_names(extract, survey, files);
        return kExitOk;
    }

  private:
    int unknown_format(const Source& source) const {
        check_end(source);
        complain(options_.source, "not a transport stream");
        return kExitUnknownFormat;
    }

    // Datagrams have no end of their own: only a signal ends the reading.
    void check_end(const Source& source) const {
        if (!source.error().empty() || !sends_datagrams(options_.source)) check_reading(source);
    }

    void feed(SurveyRun& survey, Source& source, std::span<const uint8_t> window) const {
        Progress progress(source.size().value_or(0), !session_.quiet && is_terminal(STDERR_FILENO));
        for (uint64_t bytes = 0;; window = source.next(0)) {
            const bool last = source.at_end();
            survey.feed(window, false);
            progress.show(bytes += window.size());
            if (last || interrupted()) break;
        }
        survey.finish();
    }

    void give_names(EsExtract& extract, const SurveyRun& survey, OutFileSet& files) const {
        const auto use_of = [&survey](uint16_t pid) -> std::string {
            const auto record = survey.pid(pid);
            if (!record) return "";
            return record->codec != nullptr ? record->codec : record->use;
        };
        const std::vector<Extracted> results = extract.finish(use_of);
        std::vector<OutFileSet::Named> named;
        for (const Extracted& result : results)
            if (!result.name.empty()) named.push_back({result.file, result.name});
        files.commit(named);
        tell_oddities(extract, survey.totals());
        print_extracted(
            std::cout, results, [&files](const std::string& name) { return files.path_of(name); },
            text_options_for(STDOUT_FILENO, false));
    }

    void tell_oddities(const EsExtract& extract, const ZvSurveyTotals& totals) const {
        for (const CodecChange& change : extract.codec_changes().kept())
            complain(options_.source, "byte " + std::to_string(change.offset) + ": PID " +
                                          pid_text(change.pid) + " changes from " +
                                          zv::survey::codec_name(change.before) + " to " +
                                          zv::survey::codec_name(change.now) + ": a file for each");
        for (const uint16_t program : request_.programs)
            if (!extract.has_program(program))
                complain(options_.source, "programme " + std::to_string(program) + " is not in it");
        if (const uint64_t bytes = totals.skipped_bytes + totals.trailing_bytes; bytes > 0)
            complain(options_.source, counted(bytes, "byte", "bytes") + " of no packet left out");
    }

    const ExtractOptions& options_;
    const Session& session_;
    const ExtractRequest request_;
    FindingLog findings_;
};

}  // namespace

int run_command(const ExtractOptions& options, const Session& session) {
    return run_copy({options.source, options.directory},
                    [&] { return Extraction(options, session).run(); });
}

}  // namespace zvprobe
