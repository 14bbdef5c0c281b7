// SPDX-License-Identifier: MIT
// Implementation of table_rules.h.
#include "survey/records/table_rules.h"

#include "survey/psi/psi.h"

namespace zv::survey {

bool is_crc_error_2_2(uint8_t table_id) {
    return table_id <= kTableIdPmt || table_id == kTableIdNitActual ||
           table_id == kTableIdNitOther || table_id == kTableIdSdtActual ||
           table_id == kTableIdSdtOther || table_id == kTableIdBat || table_id == kTableIdTot ||
           (table_id >= kTableIdEitActual && table_id <= kTableIdEitLast);
}

std::optional<Indicator> misplaced(uint16_t pid, uint8_t table_id) {
    const auto unless = [](bool belongs, Indicator indicator) {
        return belongs ? std::nullopt : std::optional(indicator);
    };
    const bool stuffing = table_id == kTableIdStuffing;
    switch (pid) {
        case kPidPat:
            return unless(table_id == kTableIdPat, Indicator::kPatError2);
        case kPidCat:
            return unless(table_id == kTableIdCat, Indicator::kCatError);
        case kPidNit:
            return unless(stuffing || table_id == kTableIdNitActual || table_id == kTableIdNitOther,
                          Indicator::kNitActualError);
        case kPidSdt:
            return unless(stuffing || table_id == kTableIdSdtActual ||
                              table_id == kTableIdSdtOther || table_id == kTableIdBat,
                          Indicator::kSdtActualError);
        case kPidEit:
            return unless(
                stuffing || (table_id >= kTableIdEitActual && table_id <= kTableIdEitLast),
                Indicator::kEitActualError);
        case kPidRst:
            return unless(stuffing || table_id == kTableIdRst, Indicator::kRstError);
        case kPidTdt:
            return unless(stuffing || table_id == kTableIdTdt || table_id == kTableIdTot,
                          Indicator::kTdtError);
        default:
            return std::nullopt;
    }
}

std::optional<Indicator> distance_indicator(uint16_t pid, uint8_t table_id) {
    switch (table_id) {
        case kTableIdNitActual:
            return pid == kPidNit ? std::optional(Indicator::kNitActualError) : std::nullopt;
        case kTableIdSdtActual:
            return pid == kPidSdt ? std::optional(Indicator::kSdtActualError) : std::nullopt;
        case kTableIdEitActual:
            return pid == kPidEit ? std::optional(Indicator::kEitActualError) : std::nullopt;
        case kTableIdRst:
            return pid == kPidRst ? std::optional(Indicator::kRstError) : std::nullopt;
        case kTableIdTdt:
            return pid == kPidTdt ? std::optional(Indicator::kTdtError) : std::nullopt;
        default:
            return std::nullopt;
    }
}

}  // namespace zv::survey
