#include "platform/clock.h"

#include <windows.h>

namespace platform {

namespace {
TimeOfDay fromSystemTime(const SYSTEMTIME& t) {
    TimeOfDay out;
    out.year = t.wYear;
    out.month = t.wMonth;
    out.day = t.wDay;
    out.hour = t.wHour;
    out.minute = t.wMinute;
    out.second = t.wSecond;
    out.millisecond = t.wMilliseconds;
    return out;
}

std::uint64_t counterFrequency() {
    static const std::uint64_t frequency = [] {
        LARGE_INTEGER f{};
        return ::QueryPerformanceFrequency(&f) && f.QuadPart > 0 ? static_cast<std::uint64_t>(f.QuadPart) : 1000u;
    }();
    return frequency;
}
}  // namespace

std::uint64_t monotonicMs() {
    // The performance counter rather than timeGetTime: it never wraps, where
    // timeGetTime's 32 bits go round every 49.7 days.
    const std::uint64_t ticks = monotonicTicks();
    const std::uint64_t rate = counterFrequency();
    return ticks / rate * 1000u + ticks % rate * 1000u / rate;
}

std::uint64_t monotonicTicks() {
    LARGE_INTEGER now{};
    if (!::QueryPerformanceCounter(&now)) return static_cast<std::uint64_t>(::timeGetTime());
    return static_cast<std::uint64_t>(now.QuadPart);
}

std::uint64_t ticksPerSecond() {
    return counterFrequency();
}

TimeOfDay utcTimeOfDay() {
    SYSTEMTIME t{};
    ::GetSystemTime(&t);
    return fromSystemTime(t);
}

TimeOfDay localTimeOfDay() {
    SYSTEMTIME t{};
    ::GetLocalTime(&t);
    return fromSystemTime(t);
}

void sleepMs(unsigned milliseconds) {
    ::Sleep(milliseconds == INFINITE ? INFINITE - 1 : milliseconds);
}

}  // namespace platform
