// SPDX-License-Identifier: MIT
// Implementation of open_failure.h, and the exported question for it.
#include "zvprotocol/open_failure.h"

#include <cstdio>

#include "zvprotocol_ext.h"

namespace zvptc {
namespace {

constexpr size_t kRoom = 128;
thread_local char explanation[kRoom];

}  // namespace

void forget_open_failure() noexcept {
    explanation[0] = '\0';
}

void explain_open_failure(const char* text) noexcept {
    snprintf(explanation, sizeof explanation, "%s", text);
}

}  // namespace zvptc

const char* zvptc_ext_getOpenFailure(void) {
    return zvptc::explanation;
}
