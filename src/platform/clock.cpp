// What every system's clock shares: the engines' Clock on the system's
// time, and its waits.
#include "platform/clock.h"

#include <chrono>

namespace platform {

namespace {
class SystemClock final : public Clock {
public:
    std::uint64_t monotonicMs() const override { return platform::monotonicMs(); }
    TimeOfDay utcTimeOfDay() const override { return platform::utcTimeOfDay(); }
};
}  // namespace

void Clock::waitUntil(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
                      std::uint64_t deadlineMs) const {
    const std::uint64_t now = monotonicMs();
    if (now >= deadlineMs) return;
    const std::uint64_t left = deadlineMs - now;
    // A day at most per wait: "never" must not overflow the system's clock.
    constexpr std::uint64_t kLongestWaitMs = 86400000;
    changed.wait_for(lock, std::chrono::milliseconds(left < kLongestWaitMs ? left : kLongestWaitMs));
}

void Clock::sleepMs(unsigned milliseconds) const {
    platform::sleepMs(milliseconds);
}

const Clock& systemClock() {
    static const SystemClock clock;
    return clock;
}

}  // namespace platform
