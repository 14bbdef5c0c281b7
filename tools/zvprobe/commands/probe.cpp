// SPDX-License-Identifier: MIT
// `probe`, the default command: tells what sources are.
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <new>
#include <optional>
#include <thread>
#include <utility>

#include "base/patience.h"
#include "commands/commands.h"
#include "commands/parts/page_file.h"
#include "commands/parts/side_by_side.h"
#include "commands/source_names.h"
#include "commands/source_probe.h"
#include "io/source.h"
#include "render/json_report.h"
#include "render/page/page_report.h"
#include "render/progress.h"
#include "render/text_report.h"

namespace zvprobe {
namespace {

// Standard output cannot be written: what is still to be read would be read for nothing. The
// caller of the command says why.
struct OutputLost {};

void flush_report() {
    if (!std::cout.flush()) throw OutputLost();
}

// As many as there are cores, unless packets are to come in real time.
size_t jobs_of(const ProbeOptions& options) {
    const size_t wanted = options.jobs > 0 ? options.jobs : std::thread::hardware_concurrency();
    if (!options.pace.empty()) return 1;
    const size_t useful = options.files_from.empty() ? options.sources.size() : wanted;
    return std::clamp<size_t>(wanted, 1, std::max<size_t>(useful, 1));
}

// Prints reports one by one: text as they come, JSON and the page when all are known.
class ReportPrinter {
  public:
    // Throws OutputError when the page cannot be written.
    explicit ReportPrinter(const ProbeOptions& options)
        : options_(options),
          text_options_(text_options_for(STDOUT_FILENO, options.statistics, options.resolver)) {
        if (!options.html.empty()) page_.emplace(options.html);
    }

    void take(SourceReport report) {
        status_ = std::max<int>(status_, status_of(report, options_));
        if (report.failure) complain(report.name, report.failure->message);
        if (options_.json || page_) {
            reports_.push_back(std::move(report));
        } else if (report.has_content()) {
            if (std::exchange(printed_any_, true)) std::cout << '\n';
            print_text(std::cout, report, text_options_);
            flush_report();
        }
    }

    // -> exit status. Throws OutputError when the page cannot be written.
    int finish() {
        const std::string page = page_ ? page_of(reports_) : "";
        if (options_.json) {
            if (!options_.history) forget_histories();
            print_json(std::cout, reports_);
        }
        if (page_) page_->write(page);
        return status_;
    }

  private:
    // They were kept for the page.
    void forget_histories() {
        for (SourceReport& report : reports_)
            if (auto* const ts = std::get_if<TsReport>(&report.content))
                ts->survey.erase("history");
    }

    const ProbeOptions& options_;
    const TextOptions text_options_;
    std::optional<PageFile> page_;
    std::vector<SourceReport> reports_;
    int status_ = kExitOk;
    bool printed_any_ = false;
};

struct Line {
    std::string text;
    int status;
};

Line line_of(const SourceReport& report, size_t index, const ProbeOptions& options) {
    const ExitStatus status = status_of(report, options);
    return {json_line(report, index, status), status};
}

// What goes wrong here, however it does, is about this source alone.
Line probe_line(const NamedSource& source, const ProbeOptions& options, const Session& session) {
    std::string why;
    try {
        const SourceReport report = probe_source(source.name, options, session);
        if (report.failure) complain(report.name, report.failure->message);
        return line_of(report, source.index, options);
    } catch (const std::bad_alloc&) {
        why = "out of memory";
    } catch (const std::exception& error) {
        why = error.what();
    }
    patiently([&] { complain(source.name, why); });
    return patiently(
        [&] { return line_of(failed_report(source.name, why), source.index, options); });
}

// Prints a line for each source once it is read. -> exit status
int print_lines(const ProbeOptions& options, const Session& session, SourceNames& names) {
    int status = kExitOk;
    SideBySide<NamedSource, Line> probes(jobs_of(options), Order::kAsDone);
    probes.run([&] { return names.next(); },
               [&](const NamedSource& source) { return probe_line(source, options, session); },
               [&](const Line& line) {
                   status = std::max(status, line.status);
                   std::cout << line.text << '\n';
                   flush_report();
               });
    return status;
}

// Prints reports in the order of the sources. -> exit status
int print_reports(const ProbeOptions& options, const Session& session, SourceNames& names) {
    ReportPrinter printer(options);
    SideBySide<NamedSource, SourceReport> probes(jobs_of(options), Order::kAsGiven);
    probes.run(
        [&] { return names.next(); },
        [&](const NamedSource& source) { return probe_source(source.name, options, session); },
        [&](SourceReport report) { printer.take(std::move(report)); });
    return printer.finish();
}

}  // namespace

int run_command(const ProbeOptions& options, const Session& session) {
    const bool quiet = session.quiet || jobs_of(options) > 1;
    // Threads complain while this one prints: they must not flush what it has begun.
    std::cerr.tie(nullptr);
    const Session calm = {session.verbosity, quiet, session.log_file};
    try {
        SourceNames names(options.sources, options.files_from, options.separator);
        const int status = options.json_lines ? print_lines(options, calm, names)
                                              : print_reports(options, calm, names);
        if (names.error().empty()) return status;
        complain(options.files_from, names.error());
        return std::max<int>(status, kExitCannotOpen);
    } catch (const SourceError& error) {
        complain(options.files_from, error.what());
    } catch (const OutputError& error) {
        complain(options.html, std::string("cannot be written: ") + error.what());
    } catch (const OutputLost&) {
    }
    return kExitCannotOpen;
}

}  // namespace zvprobe
