// SPDX-License-Identifier: MIT
// Puts the packets of a made stream in the order of their times, numbers them and stamps PCRs.
#pragma once

#include <array>
#include <functional>
#include <map>
#include <utility>
#include <vector>

#include "chooser.h"
#include "model.h"

namespace fuzz::maker {

constexpr double kTicks = 27e6;  // a second

// A programme's clock as its encoder keeps it.
struct ProgramClock {
    double start = 0;                       // ticks at the beginning
    double ppm = 0;                         // too fast
    double jitter_ns = 0;                   // at most
    double gone_from = 1e9, gone_to = 1e9;  // seconds without PCR

    double at(double seconds) const { return start + seconds * kTicks * (1 + ppm / 1e6); }
    uint64_t pcr(double seconds, Chooser& choose) const;
};

// What comes again and again.
struct Source {
    double period;  // seconds
    double limit;   // a gap that something is wrong with
    std::function<void(double now)> emit;
    double due = 0;
};

class Mux {
  public:
    Mux(Chooser& choose, size_t packets) : choose_(choose), packets_(packets) {}

    void add_source(Source source);
    // `clock`: stamps a PCR into the packet's adaptation field
    void add(double due, zvtest::TsPacket packet, const ProgramClock* clock = nullptr);
    // Cuts sections into packets of a PID, in one of several ways.
    void add_sections(double due, uint16_t pid, const std::vector<Bytes>& sections);

    // -> packets of 188 bytes; `at_every_packet` gets the time
    std::vector<Bytes> run(double packets_a_second,
                           const std::function<void(double now)>& at_every_packet);

  private:
    struct Pending {
        zvtest::TsPacket packet;
        const ProgramClock* clock;
    };

    void wake_sources(double now);
    double pause_after(const Source& source);
    Bytes next_packet(double now);

    Chooser& choose_;
    size_t packets_;
    std::vector<Source> sources_;
    std::map<std::pair<double, uint64_t>, Pending> pending_;
    uint64_t order_ = 0;
    std::array<uint8_t, 0x2000> counters_ = {};
};

}  // namespace fuzz::maker
