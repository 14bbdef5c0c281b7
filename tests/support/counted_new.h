// SPDX-License-Identifier: MIT
// Stands in for operator new and delete of the whole program: counts what is held, and fails when
// told to.
#pragma once

#include <cstddef>

namespace zvtest {

struct CountedNew {
    static size_t held;         // bytes, as the allocator rounds them
    static size_t most_held;    // a test may set it back to `held`
    static long blocks;         // held
    static long until_failure;  // allocations that still succeed, then none does; negative: all do
    static bool failed;         // did any fail?
};

}  // namespace zvtest
