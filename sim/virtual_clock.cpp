#include "sim/virtual_clock.h"

#include <chrono>

namespace sim {

platform::TimeOfDay VirtualClock::utcTimeOfDay() const {
    const std::uint64_t ms = mNowMs.load() % 86400000;
    platform::TimeOfDay t;
    t.year = 2026;
    t.month = 1;
    t.day = 1;
    t.hour = static_cast<int>(ms / 3600000);
    t.minute = static_cast<int>(ms / 60000 % 60);
    t.second = static_cast<int>(ms / 1000 % 60);
    t.millisecond = static_cast<int>(ms % 1000);
    return t;
}

void VirtualClock::waitUntil(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
                             std::uint64_t deadlineMs) const {
    if (monotonicMs() >= deadlineMs) return;
    // The test moves the time without knowing who waits: look again after
    // a real millisecond.
    changed.wait_for(lock, std::chrono::milliseconds(1));
}

void VirtualClock::advanceTo(std::uint64_t offsetMs) const {
    const std::uint64_t target = kStartMs + offsetMs;
    std::uint64_t now = mNowMs.load();
    while (now < target && !mNowMs.compare_exchange_weak(now, target)) {
    }
}

bool eventually(const std::function<bool()>& done, int timeoutMs) {
    const std::uint64_t end = platform::monotonicMs() + static_cast<std::uint64_t>(timeoutMs);
    while (!done()) {
        if (platform::monotonicMs() > end) return false;
        platform::sleepMs(1);
    }
    return true;
}

}  // namespace sim
