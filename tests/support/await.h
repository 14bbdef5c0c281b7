// SPDX-License-Identifier: MIT
// Waits for what another thread or process does.
#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace zvtest {

// Polls until it is so. -> false when that took ten seconds
inline bool await(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace zvtest
