// SPDX-License-Identifier: MIT
// `remap`: a copy of a file whose programme has another number and other PIDs. The file is read
// twice: what is in it decides what can be done.
#include <unistd.h>

#include <iostream>

#include "base/exit_status.h"
#include "base/interrupt.h"
#include "base/numbers.h"
#include "base/printable.h"
#include "commands/commands.h"
#include "commands/copy_command.h"
#include "render/complaint.h"
#include "render/progress.h"
#include "render/terminal.h"
#include "ts/remap_writer.h"
#include "ts/resolver.h"
#include "ts/ts_packets.h"

namespace zvprobe {
namespace {

constexpr uint32_t kMostNumber = 0xFFFF;

class UnknownFormat : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

RemapWish wish_of(const RemapOptions& options) {
    RemapWish wish = {std::nullopt,
                      number_from(options.program, 1, kMostNumber, "programme"),
                      pid_from(options.pmt, "PMT"),
                      pid_from(options.pcr, "PCR"),
                      {}};
    if (!options.from.empty()) wish.from = number_from(options.from, 1, kMostNumber, "programme");
    for (const std::string_view pid : split(options.es, ','))
        wish.es_pids.push_back(pid_from(pid, "stream"));
    return wish;
}

// The resolver's input, in runs of packets: it settles the packet size on the first one.
class ResolverInput {
  public:
    explicit ResolverInput(const std::string& name) : resolver_(name) {}

    void take(std::span<const uint8_t> packet) {
        run_.insert(run_.end(), packet.begin(), packet.end());
        if (run_.size() >= kRun) pass_on();
    }

    ResolverAccount account() {
        pass_on();
        return resolver_.account();
    }

  private:
    static constexpr size_t kRun = 256 * kPacketSize;

    void pass_on() {
        resolver_.parse(run_, kPacketSize, ZV_TS_CHECK_CC);
        run_.clear();
    }

    Resolver resolver_;
    std::vector<uint8_t> run_;
};

class Remap {
  public:
    Remap(const RemapOptions& options, const Session& session)
        : options_(options),
          wish_(wish_of(options)),
          draw_(!session.quiet && is_terminal(STDERR_FILENO)),
          talk_(!session.quiet && !is_standard_output(options.out)) {}

    void run() {
        const ResolverAccount account = look();
        const RemapPlan plan = make_remap_plan(account, inventory_, wish_);
        for (const std::string& warning : plan.warnings)
            complain(options_.in, warning);
        write(plan);
    }

  private:
    ResolverAccount look() {
        const auto source = open_source(options_.in);
        if (!source->size()) throw SourceError("not a file, which is read twice");
        const auto window = first_window_of(*source);
        const auto first = find_first_packet(window, source->at_end());
        if (!first) throw UnknownFormat("not a transport stream");
        Progress progress(2 * *source->size(), draw_);
        TsPackets packets(*source, window, *first);
        ResolverInput resolver(options_.in);
        for (TsPacket packet; packets.next(packet) && !interrupted(); ++packets_) {
            inventory_.see(packet.body.first<kPacketSize>());
            resolver.take(packet.body);
            progress.show(packets.bytes());
        }
        check_reading(*source);
        warn_of_damage(*source->size(), packets_ * first->packet_size);
        return resolver.account();
    }

    void warn_of_damage(uint64_t bytes, uint64_t in_packets) const {
        if (bytes > in_packets)
            complain(options_.in,
                     std::to_string(bytes - in_packets) + " bytes of no packet are left out");
    }

    void write(const RemapPlan& plan) const {
        const auto source = open_source(options_.in);
        const auto window = first_window_of(*source);
        const auto first = find_first_packet(window, source->at_end());
        if (!first) throw RemapError("changed while it was read");
        Progress progress(2 * source->size().value_or(0), draw_);
        TsPackets packets(*source, window, *first);
        OutFile out(options_.out);
        RemapWriter writer(plan, out);
        uint64_t count = 0;
        for (TsPacket packet; packets.next(packet) && !interrupted(); ++count) {
            writer.take(packet);
            progress.show(source->size().value_or(0) + packets.bytes());
        }
        check_reading(*source);
        if (count != packets_) throw RemapError("changed while it was read");
        out.commit();
        if (!talk_) return;
        std::cout << printable(options_.out) << ": programme " << plan.old_program_number
                  << " is now " << wish_.program_number << ", " << writer.packets() << " packets\n";
    }

    const RemapOptions& options_;
    const RemapWish wish_;
    const bool draw_;
    const bool talk_;
    PidInventory inventory_;
    uint64_t packets_ = 0;  // of the first reading
};

int remap(const RemapOptions& options, const Session& session) {
    try {
        Remap(options, session).run();
        return kExitOk;
    } catch (const UsageError& error) {
        complain(options.in, error.what());
        return kExitUsage;
    } catch (const UnknownFormat& error) {
        complain(options.in, error.what());
        return kExitUnknownFormat;
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
