// A clock whose time moves only when the test moves it, so that waits of
// many seconds in an engine take no real time. A pause taken on it (the
// engine's settling pause) moves it forward by that much; a timed wait on it
// lasts until the test has advanced it past the deadline.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>

#include "platform/clock.h"

namespace sim {

class VirtualClock : public platform::Clock {
public:
    // The time of day starts at 10:00:00.000 UTC, far from midnight.
    static constexpr std::uint64_t kStartMs = 36000000;

    std::uint64_t monotonicMs() const override { return mNowMs.load(); }
    platform::TimeOfDay utcTimeOfDay() const override;
    void waitUntil(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
                   std::uint64_t deadlineMs) const override;
    void sleepMs(unsigned milliseconds) const override { advance(milliseconds); }

    void advance(std::uint64_t milliseconds) const { mNowMs += milliseconds; }
    // Moves the time to `kStartMs + offsetMs`, never back.
    void advanceTo(std::uint64_t offsetMs) const;
    // Milliseconds since the start.
    std::uint64_t elapsedMs() const { return mNowMs.load() - kStartMs; }

private:
    mutable std::atomic<std::uint64_t> mNowMs{kStartMs};
};

// Polls a condition that no datagram announces, for at most `timeoutMs` of
// real time, while virtual time stands still.
bool eventually(const std::function<bool()>& done, int timeoutMs = 2000);

}  // namespace sim
