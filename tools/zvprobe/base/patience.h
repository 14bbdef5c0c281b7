// SPDX-License-Identifier: MIT
// Work that needs little memory, where other threads may have all of it for a while.
#pragma once

#include <chrono>
#include <new>
#include <thread>

namespace zvprobe {

// Does work(), again and again while it throws std::bad_alloc, for a second; the last one is passed on.
template <typename Work>
auto patiently(Work work) {
    constexpr int kTries = 100;
    for (int i = 1; i < kTries; ++i) {
        try {
            return work();
        } catch (const std::bad_alloc&) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    return work();
}

}  // namespace zvprobe
