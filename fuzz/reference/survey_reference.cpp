// SPDX-License-Identifier: MIT
// Implementation of survey_reference.h.
#include "reference/survey_reference.h"

#include "reference/rates.h"
#include "reference/report.h"

namespace fuzz {
namespace {

// Is a median, after any of the intervals, so near to its bound that rounding decides?
bool is_undecided(const reference::Clock& clock) {
    reference::ConstantRate rate(clock.intervals(), clock.packet_size());
    bool undecided = false;
    while (rate.add_next())
        undecided |= rate.is_close();
    return undecided;
}

}  // namespace

nlohmann::ordered_json survey_reference(std::span<const uint8_t> bytes) {
    auto framing = reference::read_framing(bytes);
    if (!framing) return nullptr;
    return reference::Report(std::move(*framing)).json();
}

std::optional<ReferenceTiming> survey_reference_timing(std::span<const uint8_t> bytes) {
    constexpr auto kTicks = static_cast<double>(reference::kTicksPerSecond);
    auto framing = reference::read_framing(bytes);
    if (!framing) return std::nullopt;
    auto pids = reference::watch_continuity(framing->packets);
    const reference::Clock clock(*framing, pids);
    const auto findings =
        reference::replay(*framing, pids, reference::gather_sections(framing->packets), clock);
    ReferenceTiming timing = {clock.known(),
                              clock.pid(),
                              clock.constant_rate(),
                              is_undecided(clock),
                              clock.bit_rate(),
                              clock.duration_s(),
                              {}};
    for (const auto& [id, tally] : findings.tallies)
        timing.indicators[id] = {tally.count, tally.first_ticks / kTicks,
                                 tally.last_ticks / kTicks};
    return timing;
}

}  // namespace fuzz
