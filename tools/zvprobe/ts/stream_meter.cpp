// SPDX-License-Identifier: MIT
// Implementation of stream_meter.h.
#include "ts/stream_meter.h"

#include <algorithm>
#include <bitset>
#include <cmath>
#include <limits>
#include <new>

#include "mpeg/ts_packet/packet_fields.h"

namespace zvprobe {
namespace {

constexpr double kSampleInterval_s = 0.25;  // what the last interval may be too long
constexpr double kBitsPerPacket = 1504;
constexpr size_t kMostStreams = 64;  // of a programme: finding one takes a walk over those before
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

ZvSurveyTotals totals_of(const ZvSurvey* survey) {
    ZvSurveyTotals totals = {};
    if (zvsurvey_totals(survey, &totals, sizeof totals) != 1) throw std::bad_alloc();
    return totals;
}

template <typename See>
void for_each_pid(const ZvSurvey* survey, See see) {
    ZvSurveyPid pid = {};
    for (uint16_t number = 0; number < zv::kPidCount; ++number)
        if (zvsurvey_pid_by_number(survey, number, &pid, sizeof pid) == 1) see(pid);
}

// What was counted may be taken back when it turns out that it cannot be measured.
uint64_t grown(uint64_t from, uint64_t to) {
    return to - std::min(from, to);
}

std::string text_or_empty(const char* text) {
    return text != nullptr ? text : "";
}

uint64_t errors_of(const ZvSurveyPid& pid) {
    return pid.continuity_errors + pid.crc_errors + pid.transport_errors;
}

double per_second(double amount, double seconds) {
    return seconds > 0 ? amount / seconds : 0;
}

// PIDs of a programme.
std::bitset<zv::kPidCount> pids_of(const ZvSurvey* survey, size_t index,
                                   const ZvSurveyProgram& program) {
    std::bitset<zv::kPidCount> pids;
    pids.set(program.pmt_pid);
    if (program.pcr_pid >= 0) pids.set(static_cast<size_t>(program.pcr_pid));
    ZvSurveyStream stream = {};
    for (size_t i = 0; i < kMostStreams; ++i) {
        if (zvsurvey_stream(survey, index, i, &stream, sizeof stream) != 1) break;
        pids.set(stream.pid);
    }
    return pids;
}

ServiceSnapshot service_of(const ZvSurveyProgram& program) {
    return {program.program_number,
            text_or_empty(program.service_name),
            text_or_empty(program.service_provider),
            text_or_empty(program.now_title),
            program.streams,
            program.scrambled != 0,
            0};
}

}  // namespace

void StreamMeter::add(const ZvSurveyEvent& event) {
    if (events_.size() == StreamSnapshot::kMostEvents) events_.pop_back();
    events_.push_front(
        {event.time_s, event.pid, event.kind, text_or_empty(event.indicator), event.message});
}

void StreamMeter::reset() {
    begin_anew_ = true;
    events_.clear();
}

StreamSnapshot StreamMeter::look(const ZvSurvey* survey, double now_s) {
    const Sample now = sample_of(survey, now_s);
    keep(now);
    StreamSnapshot out;
    out.name = name_;
    out.elapsed_s = now_s;
    out.counted_s = now_s - base_.at_s;
    out.interval_s = now_s - samples_.front().at_s;
    out.silent_s = now_s - last_bytes_s_;
    fill_totals(survey, now, out);
    fill_indicators(survey, now, out);
    fill_pids(survey, now, out);
    fill_services(survey, out);
    out.events.assign(events_.begin(), events_.end());
    return out;
}

StreamMeter::Sample StreamMeter::sample_of(const ZvSurvey* survey, double now_s) const {
    const ZvSurveyTotals totals = totals_of(survey);
    Sample sample = {now_s,
                     totals.bytes,
                     totals.packets,
                     {totals.sync_losses, totals.byte_errors, totals.transport_errors,
                      totals.continuity_errors, totals.packets_lost, totals.crc_errors},
                     {},
                     {}};
    ZvSurveyIndicator indicator = {};
    for (size_t i = 0; zvsurvey_indicator(survey, i, &indicator, sizeof indicator) == 1; ++i)
        sample.indicators.push_back(indicator.count);
    for_each_pid(survey, [&sample](const ZvSurveyPid& pid) {
        sample.pids.push_back({pid.pid, pid.packets, errors_of(pid)});
    });
    return sample;
}

// Counting begins at nothing, not at what the first look finds.
void StreamMeter::keep(const Sample& sample) {
    if (samples_.empty()) {
        samples_.emplace_back().indicators.resize(sample.indicators.size());
        base_ = samples_.front();
    } else if (begin_anew_) {
        base_ = sample;
        samples_.assign(1, sample);
    }
    begin_anew_ = false;
    if (sample.at_s - samples_.back().at_s >= kSampleInterval_s) samples_.push_back(sample);
    while (samples_.size() > 1 && sample.at_s - samples_[1].at_s >= kInterval_s)
        samples_.pop_front();
    if (sample.bytes != last_bytes_) last_bytes_s_ = sample.at_s;
    last_bytes_ = sample.bytes;
}

void StreamMeter::fill_totals(const ZvSurvey* survey, const Sample& now,
                              StreamSnapshot& out) const {
    const ZvSurveyTotals totals = totals_of(survey);
    const Sample& before = samples_.front();
    out.packet_size = totals.packet_size;
    out.packets = totals.packets;
    out.programs = totals.programs;
    const auto bits = static_cast<double>(grown(before.packets, now.packets)) * kBitsPerPacket;
    out.bit_rate_bps = live_ ? per_second(bits, out.interval_s) : totals.bit_rate_bps;
    size_t i = 0;
    for (const auto member : {&StreamSnapshot::sync_losses, &StreamSnapshot::byte_errors,
                              &StreamSnapshot::transport_errors, &StreamSnapshot::continuity_errors,
                              &StreamSnapshot::packets_lost, &StreamSnapshot::crc_errors}) {
        out.*member = {grown(base_.faults[i], now.faults[i]),
                       grown(before.faults[i], now.faults[i])};
        ++i;
    }
}

void StreamMeter::fill_indicators(const ZvSurvey* survey, const Sample& now,
                                  StreamSnapshot& out) const {
    ZvSurveyIndicator indicator = {};
    for (size_t i = 0; i < now.indicators.size(); ++i) {
        zvsurvey_indicator(survey, i, &indicator, sizeof indicator);
        out.indicators.push_back({indicator.id,
                                  indicator.priority,
                                  indicator.measured != 0,
                                  {grown(base_.indicators[i], now.indicators[i]),
                                   grown(samples_.front().indicators[i], now.indicators[i])}});
    }
}

const StreamMeter::PidCount& StreamMeter::count_in(const Sample& sample, uint16_t pid) {
    static constexpr PidCount kNone = {};
    const auto found = std::ranges::lower_bound(sample.pids, pid, {}, &PidCount::pid);
    return found != sample.pids.end() && found->pid == pid ? *found : kNone;
}

void StreamMeter::fill_pids(const ZvSurvey* survey, const Sample& now, StreamSnapshot& out) const {
    const uint64_t packets = live_ ? grown(samples_.front().packets, now.packets) : now.packets;
    auto count = now.pids.begin();
    for_each_pid(survey, [&](const ZvSurveyPid& pid) {
        if (count == now.pids.end()) return;
        out.pids.push_back(snapshot_of(pid, *count++, out.interval_s, packets));
    });
}

PidSnapshot StreamMeter::snapshot_of(const ZvSurveyPid& pid, const PidCount& now, double seconds,
                                     uint64_t packets) const {
    const PidCount& before = count_in(samples_.front(), pid.pid);
    const auto came = static_cast<double>(live_ ? grown(before.packets, now.packets) : now.packets);
    const double rate = live_ ? per_second(came * kBitsPerPacket, seconds) : pid.bit_rate_bps;
    const double share = packets > 0 ? came / static_cast<double>(packets) : 0;
    return {pid.pid,
            text_or_empty(pid.use),
            text_or_empty(pid.codec),
            ZV_SURVEY_NONE,
            rate,
            std::min(share, 1.0),
            pid.scrambled_packets > 0,
            {grown(count_in(base_, pid.pid).errors, now.errors), grown(before.errors, now.errors)}};
}

// Services, and the programmes of the PIDs.
void StreamMeter::fill_services(const ZvSurvey* survey, StreamSnapshot& out) const {
    ZvSurveyProgram program = {};
    for (size_t i = 0; i < StreamSnapshot::kMostServices; ++i) {
        if (zvsurvey_program(survey, i, &program, sizeof program) != 1) break;
        ServiceSnapshot service = service_of(program);
        const auto members = pids_of(survey, i, program);
        for (PidSnapshot& pid : out.pids) {
            if (!members[pid.pid]) continue;
            if (!std::isnan(pid.bit_rate_bps)) service.bit_rate_bps += pid.bit_rate_bps;
            if (pid.program == ZV_SURVEY_NONE) pid.program = service.number;
        }
        if (!live_ && std::isnan(out.bit_rate_bps)) service.bit_rate_bps = kNaN;
        out.services.push_back(std::move(service));
    }
}

}  // namespace zvprobe
