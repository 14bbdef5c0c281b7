// SPDX-License-Identifier: MIT
// Part of survey.h: what is worked out from the whole stream, and which indicators that allows.
#include "survey/survey.h"

namespace zv::survey {

std::optional<double> Survey::bit_rate_bps() const {
    constexpr double kBitsPerPacket = 1504;
    if (!timing_.live()) return timing_.clock().bit_rate_bps();
    const double seconds = static_cast<double>(last_arrival_us_ - *first_arrival_us_) * 1e-6;
    if (seconds <= 0) return std::nullopt;
    return static_cast<double>(framing().packets - packets_at_first_arrival_) * kBitsPerPacket /
           seconds;
}

std::optional<double> Survey::duration_s() const {
    if (timing_.live()) return static_cast<double>(last_arrival_us_ - *first_arrival_us_) * 1e-6;
    const auto rate = bit_rate_bps();
    if (!rate) return std::nullopt;
    return framer_.places() * 1504 / *rate;
}

bool Survey::constant_rate() const {
    return timing_.constant_rate();
}

std::optional<double> Survey::bit_rate_of(uint64_t packets) const {
    const auto rate = bit_rate_bps();
    if (!rate || framing().packets == 0) return std::nullopt;
    return *rate * static_cast<double>(packets) / static_cast<double>(framing().packets);
}

std::optional<double> Survey::drift_ppm(const PidDetail& detail) const {
    if (!detail.timing.pcr_line) return std::nullopt;
    const auto speed = detail.timing.pcr_line->speed();
    return speed ? std::optional((*speed - 1) * 1e6) : std::nullopt;
}

bool Survey::has(Needs needs) const {
    switch (needs) {
        case Needs::kNothing:
            return true;
        case Needs::kClock:
            return timing_.live() || timing_.clock().rate_known();
        case Needs::kConstantRate:
            return constant_rate();
        case Needs::kNotMeasured:
            break;
    }
    return false;
}

std::vector<Event> Survey::events() const {
    return events_.first_measured([this](Needs needs) { return has(needs); });
}

uint64_t Survey::event_count() const {
    return events_.total([this](Needs needs) { return has(needs); });
}

}  // namespace zv::survey
