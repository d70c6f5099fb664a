// A limit for everything that a test waits for.
#pragma once

#include <chrono>
#include <thread>

inline constexpr int patience_ms = 60'000;

// Asks until the condition holds. False when it does not in time.
template <class Condition>
bool wait_until(Condition holds, int limit_ms = patience_ms) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(limit_ms);
    while (!holds()) {
        if (std::chrono::steady_clock::now() > limit) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}
