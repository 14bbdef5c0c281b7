// SPDX-License-Identifier: MIT
// Implementation of timing_maker.h.
#include "maker/timing_maker.h"

#include <algorithm>
#include <array>

#include "../tests/support/ts_builder.h"

namespace fuzz {
namespace {

using namespace zvtest;

constexpr size_t kMostPackets = 64;
constexpr uint64_t kPcrRange = (uint64_t{1} << 33) * 300;
constexpr uint64_t kSecond = 27'000'000;
constexpr int kFirstPid = 0x100;  // of the streams

// How far a PCR is on from the latest of any PID: around what is looked at, and back. Steps are such
// that no two times come within a nanosecond without being the same: those pass for the same.
constexpr uint64_t kMs = kSecond / 1000;
constexpr std::array<uint64_t, 32> kSteps = {40 * kMs,
                                             0,
                                             kMs,
                                             20 * kMs,
                                             99 * kMs,
                                             100 * kMs,
                                             101 * kMs,
                                             250 * kMs,
                                             500 * kMs,
                                             501 * kMs,
                                             25 * kMs,
                                             24 * kMs,
                                             700 * kMs,
                                             701 * kMs,
                                             999 * kMs,
                                             kSecond,
                                             kSecond + 1,
                                             2 * kSecond,
                                             10 * kSecond,
                                             40 * kMs + 14,
                                             40 * kMs - 14,
                                             40 * kMs + 100,
                                             333 * kMs,
                                             900 * kMs,
                                             kPcrRange - 1,
                                             kPcrRange - 100 * kMs,
                                             kPcrRange - 10 * kSecond,
                                             kPcrRange / 2,
                                             kPcrRange / 2 + 1,
                                             kPcrRange - kSecond,
                                             10 * kMs,
                                             2 * kMs};

Bytes table(int table_id, int extension, int number, Bytes body) {
    Bytes all = table_head(extension);
    all[3] = static_cast<uint8_t>(number);
    all[4] = 1;
    append(all, body);
    return Section(table_id, all);
}

Bytes without_crc(int table_id, const Bytes& body) {
    Bytes out{static_cast<uint8_t>(table_id), 0x70, static_cast<uint8_t>(body.size())};
    append(out, body);
    return out;
}

// The same section, with current_next_indicator 0.
Bytes not_in_force(const Section& section) {
    const Bytes whole = section;
    Bytes body(whole.begin() + 3, whole.end() - 4);
    body[2] &= 0xFE;
    return Section(whole[0], body);
}

std::vector<TsPacket> make_psi() {
    std::vector<TsPacket> made;
    const auto add = [&](int pid, const Bytes& section) {
        made.push_back(TsPacket(pid).section(section));
    };
    const Section both = pat({{1, 0x30}, {2, 0x31}});
    const Section video = pmt(1, 0x100, {{0x1B, 0x100}, {0x0F, 0x101}});
    add(0, both);
    add(0x30, video);
    add(0, pat({{1, 0x30}}));
    add(0, pat({}));
    add(0, not_in_force(both));
    add(0, Section(both).break_crc());
    add(0, table(0x42, 1, 0, {0, 1, 0xFF}));
    add(0x30, pmt(1, 0x102, {{0x1B, 0x100}, {0x06, 0x103}}));
    add(0x30, not_in_force(video));
    add(0x30, Section(video).break_crc());
    add(0x31, pmt(2, 0x102, {{0x02, 0x102}, {0x05, 0x104}}));
    add(0x31, pmt(2, 0x1FFF, {}));
    add(1, table(1, 0xFFFF, 0, {0x09, 4, 0, 1, 0xE1, 0x05}));
    add(1, table(0x42, 1, 0, {0, 1, 0xFF}));
    return made;
}

std::vector<TsPacket> make_information() {
    std::vector<TsPacket> made;
    const auto add = [&](int pid, const Bytes& section) {
        made.push_back(TsPacket(pid).section(section));
    };
    for (const int number : {0, 1}) {
        for (const int table_id : {0x40, 0x41})
            add(0x10, table(table_id, 1, number, {0xF0, 0, 0xF0, 0}));
        for (const int table_id : {0x42, 0x46})
            add(0x11, table(table_id, 1, number, {0, 1, 0xFF}));
        for (const int table_id : {0x4E, 0x4F, 0x50})
            add(0x12, table(table_id, 1, number, {0, 1, 0, 1, 0, 0x4E}));
    }
    add(0x12, table(0x4E, 2, 0, {0, 1, 0, 1, 0, 0x4E}));
    add(0x10, table(0x41, 2, 0, {0xF0, 0, 0xF0, 0}));
    add(0x11, table(0x4A, 1, 0, {0xF0, 0, 0xF0, 0}));
    add(0x11, table(0x4A, 2, 1, {0xF0, 0, 0xF0, 0}));
    add(0x13, without_crc(0x71, {0, 1, 0, 1, 0, 1, 0, 1, 0}));
    add(0x14, without_crc(0x70, {0xE0, 0, 1, 2, 3}));
    add(0x14, without_crc(0x72, {0}));
    for (const int pid : {0x10, 0x11, 0x12, 0x13})
        add(pid, without_crc(0x74, {1, 2, 3}));
    return made;
}

// A section over two packets, in its two halves.
void add_halves(std::vector<TsPacket>& made) {
    Bytes long_nit = table(0x40, 1, 0, Bytes(250, 0));
    long_nit.insert(long_nit.begin(), 0);
    made.push_back(TsPacket(0x10).start().payload(Bytes(long_nit.begin(), long_nit.begin() + 184)));
    made.push_back(TsPacket(0x10).payload(Bytes(long_nit.begin() + 184, long_nit.end())));
}

// What one byte chooses among; PCRs and time stamps take more.
const std::vector<TsPacket>& tables() {
    static const std::vector<TsPacket> all = [] {
        std::vector<TsPacket> made = make_psi();
        for (const TsPacket& packet : make_information())
            made.push_back(packet);
        add_halves(made);
        return made;
    }();
    return all;
}

class TimingMaker {
  public:
    explicit TimingMaker(ByteSource& in) : in_(in) {
        bytes_.reserve(kMostPackets * 188);
        const uint8_t how = in_.u8();
        // Wraps are near.
        ticks_ = how & 1 ? kPcrRange - kSecond : kSecond;
        clock_after_ = how >> 1 & 15;
        // Before the clock the gaps that matter are known for ordinary rates only.
        first_step_ = clock_after_ == 0 && how & 0x80 ? kSecond : kSecond / 25;
    }

    std::vector<uint8_t> run() {
        for (; !in_.empty() && bytes_.size() < kMostPackets * 188; ++steps_) {
            if (steps_ == clock_after_) begin_clock();
            step(in_.u8());
        }
        return std::move(bytes_);
    }

  private:
    void step(uint8_t what) {
        const uint8_t flavour = what >> 6;
        what &= 0x3F;
        if (what < 12 && steps_ < clock_after_) return add(TsPacket(0x1FFF), flavour);
        if (what < 12) {
            const uint8_t choice = in_.u8();
            return add_pcr(choice >> 5, kSteps[choice & 31], flavour);
        }
        if (what < 16) return add_time_stamp(flavour);
        const size_t choice = what - 16u;
        if (choice < tables().size()) return add(tables()[choice], flavour);
        add(TsPacket(choice & 1 ? 0x1FFF : kFirstPid + (in_.u8() & 7)), flavour);
    }

    void begin_clock() {
        for (int i = 0; i < 2; ++i)
            add_pcr(0, first_step_, 0);
    }

    // which  in  the PID, and whether the packet has payload
    void add_pcr(int which, uint64_t on, uint8_t flavour) {
        ticks_ = (ticks_ + on) % kPcrRange;
        TsPacket packet(kFirstPid + (which & 3));
        packet.adaptation(183).pcr(ticks_ / 300, static_cast<int>(ticks_ % 300));
        add(packet.control(which & 4 ? 3 : 2), flavour);
    }

    void add_time_stamp(uint8_t flavour) {
        const uint8_t choice = in_.u8();
        const uint64_t stamp = (ticks_ / 300 + 0x1FFFFF00 + choice * 9000) & 0x1FFFFFFFF;
        PesHeader header(0xE0);
        if (choice & 1) header.dts(stamp - 1800);
        add(TsPacket(kFirstPid + (choice & 3)).start().payload(header.pts(stamp)), flavour);
    }

    // flavour  in  0 in order, 1 scrambled, 2 with a discontinuity, 3 after a loss or damaged
    void add(TsPacket packet, uint8_t flavour) {
        uint8_t& counter = counters_[static_cast<size_t>(packet.pid())];
        if (packet.counts()) ++counter;
        const uint8_t damage = flavour == 3 ? in_.u8() : 0;
        counter = static_cast<uint8_t>(counter + (damage & 15));
        Bytes bytes = packet.cc(counter & 15).build();
        if (flavour == 1) bytes[3] |= 0x80;
        if (flavour == 2 && (bytes[3] & 0x20) && bytes[4] > 0) bytes[5] |= 0x80;
        if (damage & 0x10) bytes[1] |= 0x80;
        // The beginning with its two PCRs stays in sync.
        const bool may_lose_sync = steps_ > clock_after_ + 5;
        if (may_lose_sync && damage & 0x20) bytes[0] = 0;
        append(bytes_, bytes);
        if (may_lose_sync && damage & 0x40) append(bytes_, Bytes(damage >> 4, 0x47));
        if (damage & 0x80) append(bytes_, bytes);
    }

    ByteSource& in_;
    std::vector<uint8_t> bytes_;
    uint64_t ticks_;
    size_t steps_ = 0;
    size_t clock_after_;  // so many steps there is no PCR
    uint64_t first_step_;
    std::array<uint8_t, 0x2000> counters_ = {};
};

}  // namespace

std::vector<uint8_t> make_timed_packets(ByteSource& in) {
    return TimingMaker(in).run();
}

}  // namespace fuzz
