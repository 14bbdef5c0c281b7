// SPDX-License-Identifier: MIT
// Keeps in words why the last open of a thread failed, where its errno value says less: an HTTP status, or
// what the resolver says of a name.
#pragma once

namespace zvptc {

// An open begins: nothing is known to be wrong yet.
void forget_open_failure() noexcept;

// text  copied, cut when it is very long
void explain_open_failure(const char* text) noexcept;

}  // namespace zvptc
