// SPDX-License-Identifier: MIT
// Implementation of survey_reference.h.
#include "survey_reference.h"

#include "reference/report.h"

namespace fuzz {

nlohmann::ordered_json survey_reference(std::span<const uint8_t> bytes) {
    auto framing = reference::read_framing(bytes);
    if (!framing) return nullptr;
    return reference::Report(std::move(*framing)).json();
}

}  // namespace fuzz
