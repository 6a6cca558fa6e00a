// Test helper: waits on a condition, polling, up to a bound.
#pragma once

#include <chrono>
#include <thread>

template <typename Pred>
bool waitFor(Pred pred, int timeoutMs = 5000) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!pred()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}
