// Time sources: a monotonic clock, the time of day, and sleep.
#pragma once

#include <cstdint>

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
};

// The system's clock; lives as long as the process.
const Clock& systemClock();

}  // namespace platform
