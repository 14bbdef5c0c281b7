// SPDX-License-Identifier: MIT
// Implementation of pcr.h.
#include "survey/time/pcr.h"

#include <utility>

namespace zv::survey {

PcrStep PcrValues::add(uint64_t value, uint64_t offset, bool signalled) {
    PcrStep step;
    step.first = count_++ == 0;
    step.signalled = signalled;
    step.ticks = step.first ? 0 : wrap_pcr(value + kPcrRange - last_value_);
    step.bytes = step.first ? 0 : offset - last_offset_;
    signalled_ += !step.first && signalled;
    jumps_ += step.jumps();
    if (step.sound()) intervals_.add(static_cast<double>(step.ticks));
    last_value_ = value;
    last_offset_ = offset;
    return step;
}

}  // namespace zv::survey
