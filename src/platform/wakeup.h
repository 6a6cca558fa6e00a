// A timed wait on a clock that another thread can cut short. The engines'
// threads wait here between rounds, so that new work or a shutdown does not
// have to wait for the time to run out.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <limits>
#include <mutex>

#include "platform/clock.h"

namespace platform {

class Wakeup {
public:
    static constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();

    explicit Wakeup(const Clock& clock) : mClock(clock) {}
    Wakeup(const Wakeup&) = delete;
    Wakeup& operator=(const Wakeup&) = delete;

    // Until wake() or until the clock reads `deadlineMs`. True when woken;
    // a wake that came before the wait counts, and is used up by it.
    bool waitUntil(std::uint64_t deadlineMs);
    bool waitFor(unsigned milliseconds);
    void wake();

private:
    const Clock& mClock;
    std::mutex mMutex;
    std::condition_variable mChanged;
    bool mWoken = false;
};

}  // namespace platform
