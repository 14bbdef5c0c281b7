// SPDX-License-Identifier: MIT
// The report of blocks that are still allocated.
#pragma once

namespace zvmem {

// Prints on stderr one line in all and one per place of allocation; nothing when no block lives.
void print_leak_report();

}  // namespace zvmem
