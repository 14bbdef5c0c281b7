// SPDX-License-Identifier: MIT
// Implementation of findings.h.
#include "findings.h"

#include "session.h"
#include "ts_text.h"

namespace zvprobe {

Findings::~Findings() {
    if (count_ > kMostTold) complain(source_, std::to_string(count_ - kMostTold) + " more");
}

void Findings::tell(uint64_t offset, const std::string& what) const {
    complain(source_, "byte " + std::to_string(offset) + ": " + what);
}

void Findings::tell(uint64_t offset, uint16_t pid, const std::string& what) const {
    complain(source_, "byte " + std::to_string(offset) + ", PID " + hex(pid) + ": " + what);
}

}  // namespace zvprobe
