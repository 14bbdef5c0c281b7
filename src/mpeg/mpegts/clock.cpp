// SPDX-License-Identifier: MIT
// What reads the wall clock: the arrival periods of tables and PCRs, and rate emulation. In that the
// caller's thread sleeps until the wall clock has caught up with a stream
// clock. Every step measures from one anchor, so sleeping never accumulates rounding errors.
#include <unistd.h>

#include "bitStream/log.h"
#include "mpeg/mpegts/context.h"
#include "zvcommon.h"

namespace {

using zv::NumberText;

constexpr int64_t kDriftLimit_us = 2000000;  // a drift of this size or more is out of range
constexpr int64_t kSleepMargin_us = 100;
constexpr uint8_t kMaxOutOfRange = 1;

const char* text_or_empty(const char* text) {
    return text != nullptr ? text : "";
}

// Differences of arbitrary host-given times wrap instead of overflowing.
int64_t difference(int64_t a, int64_t b) {
    return static_cast<int64_t>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b));
}

// One step: what it saw, and how it is named in messages.
struct Step {
    const char* name;
    const char* tag;
    int64_t now, last_sys;
    int64_t stream, last_stream;

    int64_t sys_diff() const { return difference(now, last_sys); }
    int64_t stream_diff() const { return difference(stream, last_stream); }
    // Positive: the stream is ahead of the wall clock.
    int64_t drift() const { return difference(stream_diff(), sys_diff()); }
};

void report_out_of_range(const Step& step) {
    LOG(zv::kLogWarning, "MPEGTS",
        "[%.256s:%s]cctime_us(%s) out of range "
        "(%s-%s),当前系统时间:%s,上次系统时间:%s,差值:%s,当前流时间:%s,上次流时间:%s,差值:%s",
        step.name, step.tag, NumberText(step.drift()).text, NumberText(-kDriftLimit_us).text,
        NumberText(kDriftLimit_us).text, NumberText(step.now).text, NumberText(step.last_sys).text,
        NumberText(step.sys_diff()).text, NumberText(step.stream).text,
        NumberText(step.last_stream).text, NumberText(step.stream_diff()).text);
}

void report_late(const Step& step) {
    LOG(zv::kLogWarning, "MPEGTS",
        "[%.256s:%s]must send fast :cctime_us:%s,"
        "当前系统时间:%s,上次系统时间:%s,差值:%s,当前流时间:%s,上次流时间:%s,差值:%s",
        step.name, step.tag, NumberText(step.drift()).text, NumberText(step.now).text,
        NumberText(step.last_sys).text, NumberText(step.sys_diff()).text,
        NumberText(step.stream).text, NumberText(step.last_stream).text,
        NumberText(step.stream_diff()).text);
}

}  // namespace

void mpegts_innerapi_getPeriod(Period* period) {
    period->now = zvtime_api_upUs();
    if (period->last != 0) period->period = period->now - period->last;
    period->last = period->now;
}

int mpegts_innerapi_isRateEmuVaild(const RateEmu* rate, int64_t streamTime_us, int64_t now_us) {
    if (rate == nullptr) return 0;
    return rate->lastSys_us != 0 && rate->lastStream_us != 0 && now_us > rate->lastSys_us &&
           streamTime_us > rate->lastStream_us && rate->numOutOfRange <= kMaxOutOfRange;
}

int mpegts_innerapi_rateEmuDone(const char* name, const char* tag, RateEmu* rate,
                                int64_t streamTime_us, int64_t now_us, uint8_t verbose) {
    if (rate == nullptr) return 0;
    const Step step = {
        .name = text_or_empty(name),
        .tag = text_or_empty(tag),
        .now = now_us,
        .last_sys = rate->lastSys_us,
        .stream = streamTime_us,
        .last_stream = rate->lastStream_us,
    };
    const int64_t drift = step.drift();
    if (drift <= -kDriftLimit_us || drift >= kDriftLimit_us) {
        rate->numOutOfRange = static_cast<uint8_t>(rate->numOutOfRange + 1);
        report_out_of_range(step);
        return 0;
    }
    const int64_t wait_us = drift - kSleepMargin_us;
    if (wait_us > 0)
        usleep(static_cast<useconds_t>(wait_us));
    else if (verbose)
        report_late(step);
    rate->numOutOfRange = 0;
    return 1;
}

int64_t mpegts_api_rateEmuLong(const char* name, const char* tag, RateEmu* rate,
                               int64_t streamTime_us, uint8_t verbose) {
    if (rate == nullptr) return -1;
    const auto now = static_cast<int64_t>(zvtime_api_upUs());
    if (mpegts_innerapi_isRateEmuVaild(rate, streamTime_us, now)) {
        mpegts_innerapi_rateEmuDone(name, tag, rate, streamTime_us, now, verbose);
        return now;
    }
    if (streamTime_us > 0) {
        rate->numOutOfRange = 0;
        rate->lastStream_us = streamTime_us;
        rate->lastSys_us = static_cast<int64_t>(zvtime_api_upUs());
    }
    return -1;
}
