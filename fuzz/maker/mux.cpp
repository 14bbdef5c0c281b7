// SPDX-License-Identifier: MIT
// Implementation of mux.h.
#include "mux.h"

#include <algorithm>
#include <cmath>

namespace fuzz::maker {
namespace {

constexpr size_t kMaxPending = 2000;
constexpr size_t kPayload = 184;

Bytes piece_of(const Bytes& bytes, size_t at, size_t size) {
    const auto from = bytes.begin() + static_cast<ptrdiff_t>(at);
    return {from, from + static_cast<ptrdiff_t>(std::min(size, bytes.size() - at))};
}

// Each section in packets of its own.
std::vector<Bytes> apart(const std::vector<Bytes>& sections, std::vector<bool>& starts) {
    std::vector<Bytes> payloads;
    for (const Bytes& section : sections) {
        Bytes all{0};
        append(all, section);
        for (size_t at = 0; at < all.size(); at += kPayload) {
            payloads.push_back(piece_of(all, at, kPayload));
            starts.push_back(at == 0);
        }
    }
    return payloads;
}

// One directly after the other. told: with a start indicator wherever a section begins
std::vector<Bytes> packed(const std::vector<Bytes>& sections, bool told,
                          std::vector<bool>& starts) {
    Bytes all;
    std::vector<size_t> begins;
    for (const Bytes& section : sections) {
        begins.push_back(all.size());
        append(all, section);
    }
    std::vector<Bytes> payloads;
    for (size_t at = 0; at < all.size();) {
        const auto next = std::lower_bound(begins.begin(), begins.end(), at);
        const bool start = (told || at == 0) && next != begins.end() && *next < at + kPayload - 1;
        Bytes payload;
        if (start) payload.push_back(static_cast<uint8_t>(*next - at));
        const Bytes piece = piece_of(all, at, kPayload - payload.size());
        append(payload, piece);
        at += piece.size();
        payloads.push_back(payload);
        starts.push_back(start);
    }
    return payloads;
}

}  // namespace

uint64_t ProgramClock::pcr(double seconds, Chooser& choose) const {
    constexpr double kRange = 8589934592.0 * 300;
    const double jitter = jitter_ns == 0 ? 0 : choose.between(-jitter_ns, jitter_ns) * 0.027;
    const double value = std::fmod(at(seconds) + jitter, kRange);
    return static_cast<uint64_t>(std::llround(value < 0 ? value + kRange : value));
}

void Mux::add_source(Source source) {
    source.due = choose_.fraction() * source.period;
    sources_.push_back(std::move(source));
}

void Mux::add(double due, zvtest::TsPacket packet, const ProgramClock* clock) {
    if (pending_.size() < kMaxPending)
        pending_.emplace(std::pair{due, order_++}, Pending{std::move(packet), clock});
}

void Mux::add_sections(double due, uint16_t pid, const std::vector<Bytes>& sections) {
    std::vector<bool> starts;
    const uint32_t way = choose_.below(4);
    const auto payloads = way < 2 ? apart(sections, starts) : packed(sections, way == 2, starts);
    for (size_t i = 0; i < payloads.size(); ++i) {
        zvtest::TsPacket packet(pid);
        if (starts[i]) packet.start();
        add(due + 0.001 * static_cast<double>(i), packet.payload(payloads[i]));
    }
}

// Mostly the period; now and then just about as long as is allowed, or shorter than is allowed.
double Mux::pause_after(const Source& source) {
    if (choose_.one_in(40))
        return source.limit * choose_.one_of({0.97, 0.99, 1.0, 1.01, 1.05, 1.6});
    if (choose_.one_in(60)) return choose_.between(0.005, 0.03);
    return source.period * choose_.between(0.9, 1.1);
}

void Mux::wake_sources(double now) {
    for (Source& source : sources_) {
        if (source.due > now) continue;
        source.emit(now);
        source.due = now + pause_after(source);
    }
}

Bytes Mux::next_packet(double now) {
    const auto first = pending_.begin();
    if (first == pending_.end() || first->first.first > now) {
        return zvtest::TsPacket(0x1FFF).cc(0).build();
    }
    zvtest::TsPacket packet = std::move(first->second.packet);
    if (const ProgramClock* const clock = first->second.clock) {
        const uint64_t pcr = clock->pcr(now, choose_);
        packet.pcr(pcr / 300, static_cast<int>(pcr % 300));
    }
    pending_.erase(first);
    uint8_t& counter = counters_[static_cast<size_t>(packet.pid())];
    if (packet.counts()) counter = (counter + 1) & 15;
    return packet.cc(counter).build();
}

std::vector<Bytes> Mux::run(double packets_a_second,
                            const std::function<void(double now)>& at_every_packet) {
    std::vector<Bytes> out;
    const double place = std::round(kTicks / packets_a_second);
    const double spread = choose_.one_of({0.0, 0.0, 0.0, 0.003, 0.02, 0.5});
    double pace = 1, ticks = 0;
    for (uint32_t left = 0; out.size() < packets_; --left) {
        if (left == 0) {
            left = static_cast<uint32_t>(choose_.between(20, 200));
            pace = choose_.between(1 - spread, 1 + spread);
        }
        const double now = ticks / kTicks;
        at_every_packet(now);
        wake_sources(now);
        out.push_back(next_packet(now));
        ticks += place * pace;
    }
    return out;
}

}  // namespace fuzz::maker
