// SPDX-License-Identifier: MIT
// Implementation of survey_maker.h: which sources a stream has, and what happens to it in time.
#include "maker/survey_maker.h"

#include <algorithm>
#include <deque>

#include "maker/faults.h"
#include "maker/model.h"
#include "maker/mux.h"

namespace fuzz {
namespace {

using namespace maker;
using zvtest::PesHeader;
using zvtest::TsPacket;

constexpr double kPcrRange = 8589934592.0 * 300;

class SurveyMaker {
  public:
    explicit SurveyMaker(Chooser& choose)
        : choose_(choose),
          model_(make_model(choose)),
          mux_(choose, static_cast<size_t>(choose.between(500, 6000))) {}

    std::vector<uint8_t> run() {
        add_programs();
        add_information();
        add_oddities();
        // Streams of few packets a second are the ones that last long enough for the long limits.
        const double rate = std::max(load_ / choose_.between(0.5, 0.95), 60.0);
        const double mean_quiet = choose_.one_of({1e9, 1e9, 8.0, 3.0});
        double next_change = mean_quiet * choose_.fraction();
        auto packets = mux_.run(rate, [&](double now) {
            if (now < next_change) return;
            next_change = now + mean_quiet * choose_.between(0.2, 2.0);
            choose_.one_in(3) ? upset_a_clock(now) : change(model_, choose_);
        });
        add_packet_faults(packets, choose_);
        return join(packets, choose_);
    }

  private:
    void add(double period, double limit, double packets, std::function<void(double)> emit) {
        mux_.add_source({period, limit, std::move(emit)});
        load_ += packets / period;
    }

    void add_programs();
    void add_program(size_t index, size_t clock);
    void add_stream(size_t program, const Stream& stream, ProgramClock& clock);
    void add_pcrs(size_t program, ProgramClock& clock);
    void add_pes(double now, const Stream& stream, const ProgramClock& clock, bool with_pcr);
    void add_psi();
    void add_information();
    void add_events();
    void add_oddities();
    void upset_a_clock(double now);
    ProgramClock make_clock();

    bool in_force() { return !choose_.one_in(25); }

    Chooser& choose_;
    Model model_;
    Mux mux_;
    std::deque<ProgramClock> clocks_;
    double load_ = 0;         // packets a second
    bool clockless_ = false;  // no PCR at all
};

ProgramClock SurveyMaker::make_clock() {
    ProgramClock clock;
    clock.start = choose_.one_in(3) ? kPcrRange - choose_.between(0.0, 10.0) * kTicks
                                    : choose_.between(0.0, 50000.0) * kTicks;
    clock.ppm = choose_.one_of({0.0, 0.0, 0.0, 30.0, -35.0, 200.0});
    clock.jitter_ns = choose_.one_of({0.0, 0.0, 0.0, 100.0, 450.0, 2000.0});
    if (choose_.one_in(4)) {
        clock.gone_from = choose_.between(0.5, 10.0);
        clock.gone_to = clock.gone_from + choose_.one_of({0.95, 1.05, 1.5, 4.0, 1000.0});
    }
    return clock;
}

void SurveyMaker::add_programs() {
    add_psi();
    clockless_ = choose_.one_in(15);
    for (size_t i = 0; i < model_.programs.size(); ++i) {
        if (i == 0 || !choose_.one_in(3)) clocks_.push_back(make_clock());
        add_program(i, clocks_.size() - 1);
    }
}

void SurveyMaker::add_psi() {
    add(choose_.between(0.1, 0.45), 0.5, 1,
        [this](double now) { mux_.add_sections(now, 0, pat_sections(model_, in_force())); });
    if (!choose_.one_in(3)) {
        add(choose_.between(0.2, 1.0), 0.5, 1,
            [this](double now) { mux_.add_sections(now, 1, {cat_section(model_)}); });
    }
}

void SurveyMaker::add_program(size_t index, size_t clock) {
    add(choose_.between(0.1, 0.45), 0.5, 1, [this, index](double now) {
        const maker::Program& program = model_.programs[index];
        mux_.add_sections(now, program.pmt_pid, {pmt_section(program, in_force())});
    });
    // By value: streams may leave the PMT and still be there.
    for (const Stream& stream : std::vector<Stream>(model_.programs[index].streams))
        add_stream(index, stream, clocks_[clock]);
    add_pcrs(index, clocks_[clock]);
}

void SurveyMaker::add_pcrs(size_t program, ProgramClock& clock) {
    if (clockless_ || choose_.one_in(10)) return;
    add(choose_.between(0.02, 0.085), 0.1, 1, [this, program, &clock](double now) {
        if (now > clock.gone_from && now < clock.gone_to) return;
        const uint16_t pid = model_.programs[program].pcr_pid;
        if (pid == 0x1FFF) return;
        TsPacket packet(pid);
        packet.adaptation(choose_.one_in(2) ? 183 : 7);
        mux_.add(now, packet.control(choose_.one_in(2) ? 2 : 3), &clock);
    });
}

void SurveyMaker::add_pes(double now, const Stream& stream, const ProgramClock& clock,
                          bool with_pcr) {
    const bool video = stream.type == 0x02 || stream.type == 0x1B || stream.type == 0x24;
    PesHeader header(video ? 0xE0 : 0xC0);
    // The clock of a stream that has just begun may stand just before its wrap.
    const auto ticks = static_cast<uint64_t>(clock.at(now) / 300) + 18000;
    header.pts((ticks + (video ? 3600 : 0)) & 0x1FFFFFFFF);
    if (video) header.dts(ticks & 0x1FFFFFFFF).pts((ticks + 3600) & 0x1FFFFFFFF);
    TsPacket packet(stream.pid);
    if (with_pcr || choose_.one_in(10)) packet.adaptation(choose_.between(with_pcr ? 7 : 1, 20));
    mux_.add(now, packet.start().payload(header), with_pcr ? &clock : nullptr);
    const int more = choose_.between(0, 2);
    for (int i = 1; i <= more; ++i)
        mux_.add(now + 0.003 * i, TsPacket(stream.pid).payload(Bytes(184, choose_.byte())));
}

void SurveyMaker::add_stream(size_t program, const Stream& stream, ProgramClock& clock) {
    if (!stream.timed) {
        add(choose_.between(0.1, 1.0), 1, 1, [this, stream](double now) {
            const int table_id = choose_.one_of({0x74, 0x80, 0xFC, 0x3B, 0xC0});
            const size_t size = choose_.below(300);
            const Bytes first = private_section(table_id, size, choose_.byte());
            mux_.add_sections(now, stream.pid, {first, long_section({table_id, 7}, Bytes(9, 1))});
        });
        return;
    }
    const double limit = choose_.one_of({0.7, 0.7, 5.0});
    add(choose_.between(0.06, 0.3), limit, 2, [this, program, stream, &clock](double now) {
        const bool here = now < clock.gone_from || now > clock.gone_to;
        const bool its_pcr = model_.programs[program].pcr_pid == stream.pid;
        add_pes(now, stream, clock, its_pcr && here && !clockless_ && choose_.one_in(2));
    });
}

void SurveyMaker::add_information() {
    if (!choose_.one_in(3))
        add(choose_.between(1.0, 8.0), 10, 4, [this](double now) {
            mux_.add_sections(now, model_.network_pid, nit_sections(model_, true));
        });
    if (choose_.one_in(2))
        add(choose_.between(2.0, 8.0), 10, 4,
            [this](double now) { mux_.add_sections(now, 0x10, nit_sections(model_, false)); });
    if (!choose_.one_in(3))
        add(choose_.between(0.3, 1.9), 2, 1,
            [this](double now) { mux_.add_sections(now, 0x11, sdt_sections(model_, true)); });
    if (choose_.one_in(2))
        add(choose_.between(2.0, 9.0), 10, 1,
            [this](double now) { mux_.add_sections(now, 0x11, sdt_sections(model_, false)); });
    if (choose_.one_in(2))
        add(choose_.between(2.0, 9.0), 10, 1, [this](double now) {
            mux_.add_sections(now, 0x11, {bat_section(static_cast<int>(choose_.below(2)))});
        });
    if (choose_.one_in(2)) add_events();
    add(choose_.between(2.0, 28.0), 30, 1, [this](double now) {
        const auto seconds = static_cast<uint32_t>(now + 1);
        mux_.add_sections(now, 0x14,
                          {choose_.one_in(3) ? tot_section(seconds) : tdt_section(seconds)});
    });
}

void SurveyMaker::add_events() {
    for (const maker::Program& program : model_.programs) {
        for (int number = 0; number < 2; ++number) {
            if (choose_.one_in(8)) continue;  // a pair of which one never comes
            const int id = program.number;
            add(choose_.between(0.5, 1.9), 2, 1, [this, id, number](double now) {
                mux_.add_sections(now, 0x12, {eit_section(model_, 0x4E, id, number)});
            });
            add(choose_.between(3.0, 9.0), 10, 1, [this, id, number](double now) {
                mux_.add_sections(now, 0x12, {eit_section(model_, 0x4F, 50 + id, number)});
            });
        }
    }
}

// What no table says, and what does not belong where it is.
void SurveyMaker::add_oddities() {
    if (choose_.one_in(3))
        add(choose_.between(0.2, 1.0), 1, 1, [this](double now) {
            mux_.add(now, TsPacket(0x300).payload(Bytes(184, choose_.byte())));
        });
    if (!model_.emm_pids.empty())
        add(choose_.between(0.1, 1.0), 1, 1, [this](double now) {
            for (const uint16_t pid : model_.emm_pids)
                mux_.add_sections(now, pid, {private_section(0x82, choose_.below(400), 5)});
        });
    if (choose_.one_in(3))
        add(choose_.between(0.1, 1.0), 1, 1, [this](double now) {
            mux_.add_sections(now, 0x600, {private_section(0x80, 100, choose_.byte())});
        });
    if (choose_.one_in(4))
        add(choose_.between(1.0, 5.0), 5, 1,
            [this](double now) { mux_.add_sections(now, 0x1FFB, {vct_section(model_)}); });
    if (choose_.one_in(4))
        add(choose_.between(0.5, 5.0), 5, 1,
            [this](double now) { mux_.add_sections(now, 0x13, {rst_section(model_)}); });
    if (choose_.one_in(3))
        add(choose_.between(1.0, 5.0), 5, 1, [this](double now) {
            const auto pid =
                choose_.one_of<uint16_t>({0, 1, 2, 0x10, 0x11, 0x12, 0x13, 0x14, 0x1E});
            const int table_id = choose_.one_of({0x72, 0x03, 0x42, 0x4A, 0x60, 0x81});
            const Bytes section = choose_.one_in(2)
                                      ? private_section(table_id, choose_.below(60), 3)
                                      : long_section({table_id, 1}, Bytes(choose_.below(60), 3));
            mux_.add_sections(now, pid, {section});
        });
}

void SurveyMaker::upset_a_clock(double now) {
    ProgramClock& clock = clocks_[choose_.below(static_cast<uint32_t>(clocks_.size()))];
    if (choose_.one_in(3)) {
        clock.gone_from = now;
        clock.gone_to = now + choose_.one_of({0.2, 0.95, 1.05, 3.0});
    } else {
        clock.start += choose_.one_of({-10.0, 10.0, 0.05, 0.5, -0.1}) * kTicks;
    }
}

}  // namespace

std::vector<uint8_t> make_survey_stream(std::span<const uint8_t> steering) {
    Chooser choose(steering);
    return SurveyMaker(choose).run();
}

std::vector<uint8_t> make_survey_stream(uint32_t seed) {
    // A short steering: from there on the generator decides.
    const uint8_t bytes[] = {static_cast<uint8_t>(seed >> 24), static_cast<uint8_t>(seed >> 16),
                             static_cast<uint8_t>(seed >> 8), static_cast<uint8_t>(seed)};
    return make_survey_stream(bytes);
}

}  // namespace fuzz
