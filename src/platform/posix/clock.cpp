#include "platform/clock.h"

#include <time.h>

#include <cerrno>

namespace platform {

namespace {
TimeOfDay fromTm(const struct tm& t, long nanoseconds) {
    TimeOfDay out;
    out.year = t.tm_year + 1900;
    out.month = t.tm_mon + 1;
    out.day = t.tm_mday;
    out.hour = t.tm_hour;
    out.minute = t.tm_min;
    out.second = t.tm_sec;
    out.millisecond = static_cast<int>(nanoseconds / 1000000);
    return out;
}
}  // namespace

std::uint64_t monotonicMs() {
    return monotonicTicks() / 1000000u;
}

std::uint64_t monotonicTicks() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<std::uint64_t>(ts.tv_sec) * 1000000000u + static_cast<std::uint64_t>(ts.tv_nsec);
}

std::uint64_t ticksPerSecond() {
    return 1000000000u;
}

TimeOfDay utcTimeOfDay() {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    struct tm t {};
    gmtime_r(&ts.tv_sec, &t);
    return fromTm(t, ts.tv_nsec);
}

TimeOfDay localTimeOfDay() {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    struct tm t {};
    localtime_r(&ts.tv_sec, &t);
    return fromTm(t, ts.tv_nsec);
}

void sleepMs(unsigned milliseconds) {
    timespec ts{static_cast<time_t>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1000000L};
    while (nanosleep(&ts, &ts) != 0 && errno == EINTR) {
    }
}

}  // namespace platform
