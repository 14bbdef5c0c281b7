// SPDX-License-Identifier: MIT
// `remap`: a copy of a file whose programmes have other numbers and PIDs, or with one programme
// only. The file is read twice: what is in it decides what can be done.
#include <unistd.h>

#include <iostream>

#include "base/exit_status.h"
#include "base/interrupt.h"
#include "base/numbers.h"
#include "base/printable.h"
#include "base/texts.h"
#include "commands/commands.h"
#include "commands/copy_command.h"
#include "render/progress.h"
#include "render/terminal.h"
#include "ts/remap/remap_plan.h"
#include "ts/remap/remap_writer.h"

namespace zvprobe {
namespace {

constexpr uint32_t kMostNumber = 0xFFFF;

uint16_t program_from(std::string_view text) {
    return number_from(text, 1, kMostNumber, "programme");
}

// "N" is the new number of the one programme, "OLD:NEW" that of any.
void add_program(const std::string& text, RemapRequest& request) {
    const auto parts = split(text, ':');
    if (parts.size() > 2) throw UsageError("programme " + in_quotes(text) + " is not OLD:NEW");
    const uint16_t last = program_from(parts.back());
    if (parts.size() == 2)
        return request.programs.emplace_back(program_from(parts[0]), last), void();
    if (request.program) throw UsageError("--program NUMBER is given twice");
    request.program = last;
}

RemapRequest::Pair pid_pair_from(const std::string& text) {
    const auto parts = split(text, ':');
    if (parts.size() != 2) throw UsageError("map " + in_quotes(text) + " is not OLD:NEW");
    return {pid_from(parts[0], "old"), pid_from(parts[1], "new")};
}

RemapRequest request_of(const RemapOptions& options) {
    RemapRequest request;
    if (!options.from.empty()) request.from = program_from(options.from);
    for (const std::string& text : options.programs)
        add_program(text, request);
    for (const std::string& text : options.maps)
        request.pids.push_back(pid_pair_from(text));
    for (const std::string& text : options.drops)
        request.dropped.push_back(pid_from(text, "dropped"));
    if (!options.pmt.empty()) request.pmt_pid = pid_from(options.pmt, "PMT");
    if (!options.pcr.empty()) request.pcr_pid = pid_from(options.pcr, "PCR");
    if (!options.es.empty()) {
        for (const std::string_view pid : split(options.es, ','))
            request.es_pids.push_back(pid_from(pid, "stream"));
    }
    const bool lists =
        !request.programs.empty() || !request.pids.empty() || !request.dropped.empty();
    if (!request.from && !request.is_about_one() && !lists && !options.drop_nulls)
        throw UsageError("nothing is to be changed");
    return request;
}

class Remap {
  public:
    Remap(const RemapOptions& options, const Session& session)
        : options_(options),
          request_(request_of(options)),
          draw_(!session.quiet && is_terminal(STDERR_FILENO)),
          talk_(!session.quiet && !is_standard_output(options.out)),
          facts_(request_.from) {}

    void run() {
        look();
        const Identifiers identifiers = make_remap_plan(facts_, request_);
        write(identifiers);
    }

  private:
    void look() {
        const auto source = open_source(options_.in);
        if (!source->size() || options_.in == "-")
            throw SourceError("not a file, which is read twice");
        Progress progress(2 * *source->size(), draw_);
        PacketReader reader(*source);
        while (!interrupted() && reader.next()) {
            facts_.see(reader.packet());
            progress.show(reader.bytes());
        }
        check_reading(*source);
        if (facts_.packets() == 0) throw CopyError(kExitUnknownFormat, "not a transport stream");
        if (reader.left_out() > 0)
            complain(options_.in,
                     std::to_string(reader.left_out()) + " bytes of no packet are left out");
    }

    void write(const Identifiers& identifiers) const {
        const auto source = open_source(options_.in);
        const uint64_t size = source->size().value_or(0);
        Progress progress(2 * size, draw_);
        PacketReader reader(*source);
        OutFile out(options_.out);
        RemapWriter writer(identifiers, facts_, options_.drop_nulls, out);
        uint64_t count = 0;
        for (; !interrupted() && reader.next(); ++count) {
            writer.take(reader.packet());
            progress.show(size + reader.bytes());
        }
        check_reading(*source);
        if (count != facts_.packets()) throw RemapError("changed while it was read");
        writer.finish();
        out.commit();
        if (talk_) tell(identifiers, writer.packets());
    }

    void tell(const Identifiers& identifiers, uint64_t packets) const {
        std::cout << printable(options_.out) << ": ";
        if (identifiers.only && identifiers.numbers.empty())
            std::cout << "programme " << *identifiers.only << ", ";
        for (const auto& [from, to] : identifiers.numbers)
            if (from != to) std::cout << "programme " << from << " is now " << to << ", ";
        std::cout << counted(packets, "packet", "packets") << '\n';
    }

    const RemapOptions& options_;
    const RemapRequest request_;
    const bool draw_;
    const bool talk_;
    StreamFacts facts_;
};

int remap(const RemapOptions& options, const Session& session) {
    try {
        Remap(options, session).run();
        return kExitOk;
    } catch (const RemapError& error) {
        complain(options.in, error.what());
    }
    return kExitCannotOpen;
}

}  // namespace

int run_command(const RemapOptions& options, const Session& session) {
    return run_copy(options, [&] { return remap(options, session); });
}

}  // namespace zvprobe
