// SPDX-License-Identifier: MIT
// The indicators of ETSI TR 101 290 v1.4.1, 5.2: their names, and what each has counted.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace zv::survey {

constexpr double kNoTime = std::numeric_limits<double>::quiet_NaN();

// In the order of the standard.
enum class Indicator : uint8_t {
    kTsSyncLoss,
    kSyncByteError,
    kPatError2,
    kContinuityCountError,
    kPmtError2,
    kPidError,
    kTransportError,
    kCrcError,
    kPcrRepetitionError,
    kPcrDiscontinuityIndicatorError,
    kPcrAccuracyError,
    kPtsError,
    kCatError,
    kNitActualError,
    kNitOtherError,
    kSiRepetitionError,
    kBufferError,
    kUnreferencedPid,
    kSdtActualError,
    kSdtOtherError,
    kEitActualError,
    kEitOtherError,
    kEitPfError,
    kRstError,
    kTdtError,
    kEmptyBufferError,
    kDataDelayError,
};

// What it takes to measure an indicator.
enum class Needs : uint8_t { kNothing, kClock, kConstantRate, kNotMeasured };

struct IndicatorName {
    const char* id;
    const char* name;
    Needs needs;

    int priority() const { return id[0] - '0'; }
};

inline constexpr std::array<IndicatorName, 27> kIndicators = {{
    {"1.1", "TS_sync_loss", Needs::kNothing},
    {"1.2", "Sync_byte_error", Needs::kNothing},
    {"1.3.a", "PAT_error_2", Needs::kClock},
    {"1.4", "Continuity_count_error", Needs::kNothing},
    {"1.5.a", "PMT_error_2", Needs::kClock},
    {"1.6", "PID_error", Needs::kClock},
    {"2.1", "Transport_error", Needs::kNothing},
    {"2.2", "CRC_error", Needs::kNothing},
    {"2.3.a", "PCR_repetition_error", Needs::kClock},
    {"2.3.b", "PCR_discontinuity_indicator_error", Needs::kNothing},
    {"2.4", "PCR_accuracy_error", Needs::kConstantRate},
    {"2.5", "PTS_error", Needs::kClock},
    {"2.6", "CAT_error", Needs::kClock},
    {"3.1.a", "NIT_actual_error", Needs::kClock},
    {"3.1.b", "NIT_other_error", Needs::kClock},
    {"3.2", "SI_repetition_error", Needs::kClock},
    {"3.3", "Buffer_error", Needs::kNotMeasured},
    {"3.4.a", "Unreferenced_PID", Needs::kClock},
    {"3.5.a", "SDT_actual_error", Needs::kClock},
    {"3.5.b", "SDT_other_error", Needs::kClock},
    {"3.6.a", "EIT_actual_error", Needs::kClock},
    {"3.6.b", "EIT_other_error", Needs::kClock},
    {"3.6.c", "EIT_PF_error", Needs::kClock},
    {"3.7", "RST_error", Needs::kClock},
    {"3.8", "TDT_error", Needs::kClock},
    {"3.9", "Empty_buffer_error", Needs::kNotMeasured},
    {"3.10", "Data_delay_error", Needs::kNotMeasured},
}};

struct IndicatorCount {
    uint64_t count = 0;
    double first_s = kNoTime;
    double last_s = kNoTime;

    void note_time(double time_s) {
        first_s = std::fmin(first_s, time_s);  // a number where the other is none
        last_s = std::fmax(last_s, time_s);
    }
};

// When an indicator counts: gaps longer than this, in seconds; the accuracy in nanoseconds.
struct Limits {
    double pat = 0.5;
    double pmt = 0.5;
    double pid = 5;
    double pcr_repetition = 0.1;
    double pcr_discontinuity = 0.1;
    double pcr_accuracy_ns = 500;
    double pts = 0.7;
    double cat = 0.5;
    double nit_actual = 10;
    double nit_other = 10;
    double bat = 10;
    double tot = 30;
    double unreferenced = 0.5;
    double sdt_actual = 2;
    double sdt_other = 10;
    double eit_actual = 2;
    double eit_other = 10;
    double eit_pf = 2;
    double tdt = 30;
    double section_distance = 0.025;  // sections must not be closer
};

}  // namespace zv::survey
