// Time sources: a monotonic clock, the time of day, and sleep.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace platform {

struct TimeOfDay {
    int year = 0;
    int month = 0;  // 1 to 12
    int day = 0;    // 1 to 31
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;
};

// Milliseconds on a clock that never goes back; its zero is arbitrary.
std::uint64_t monotonicMs();
// The high-resolution counter and its rate, for the trace stamp.
std::uint64_t monotonicTicks();
std::uint64_t ticksPerSecond();

TimeOfDay utcTimeOfDay();
TimeOfDay localTimeOfDay();

void sleepMs(unsigned milliseconds);

// The clock the engines' timing logic reads. Tests hand in their own to
// walk timers without waiting.
class Clock {
public:
    virtual ~Clock() = default;
    virtual std::uint64_t monotonicMs() const = 0;
    virtual TimeOfDay utcTimeOfDay() const = 0;

    // Blocks on `changed` (with `lock` held) until it is notified or this
    // clock reads `deadlineMs`. It may return early: the caller looks at its
    // condition and the time again. The system clock waits in real time.
    virtual void waitUntil(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
                           std::uint64_t deadlineMs) const;
    // A pause of the caller by this clock's time.
    virtual void sleepMs(unsigned milliseconds) const;
};

// The system's clock; lives as long as the process.
const Clock& systemClock();

}  // namespace platform
