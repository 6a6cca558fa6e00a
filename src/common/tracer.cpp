#include "common/tracer.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>

#include "platform/clock.h"

Tracer* Tracer::instance() {
    // Made in static storage, so it can't fail for want of memory, and never
    // destroyed, so a thread tracing during process exit finds it whole.
    alignas(Tracer) static unsigned char sStorage[sizeof(Tracer)];
    static Tracer* const sInstance = new (sStorage) Tracer();
    return sInstance;
}

Tracer::Tracer() {
    resetClock();
}

void Tracer::resetClock() {
    std::uint64_t rate = platform::ticksPerSecond();
    mInvTicks = rate != 0 ? 1.0f / static_cast<float>(rate) : 1.0f;
    mStartTicks = rate != 0 ? platform::monotonicTicks() : 0;
}

int Tracer::writeText(const char* text, std::size_t length) {
    if (!mOpen || !mFile.isOpen()) return 0;
    return mFile.write(text, length) ? 0 : 2;
}

int Tracer::trace(int level, const char* format, ...) {
    platform::LockGuard guard(mLock);
    if ((static_cast<std::uint32_t>(level) & mFilter) == 0) return 0;
    std::memset(mMessage, 0, sizeof mMessage);
    std::memset(mLine, 0, sizeof mLine);

    // A message that comes from outside may be long: it is cut so that the
    // line ending always fits.
    va_list args;
    va_start(args, format);
    int n = std::vsnprintf(mMessage, sizeof mMessage - 2, format, args);
    va_end(args);
    std::size_t used = n < 0 ? 0 : std::strlen(mMessage);
    std::memcpy(mMessage + used, "\r\n", 3 > sizeof mMessage - used ? sizeof mMessage - used : 3);

    float elapsed = static_cast<float>(platform::monotonicTicks() - mStartTicks) * mInvTicks;
    platform::TimeOfDay now = platform::localTimeOfDay();
    int length = std::snprintf(mLine, sizeof mLine, "%d/%d/%d  %d:%02d  %6.2f  %s", now.day, now.month, now.year,
                               now.hour, now.minute, static_cast<double>(elapsed), mMessage);
    if (length < 0) return 0;
    if (static_cast<std::size_t>(length) >= sizeof mLine) {
        length = sizeof mLine - 1;
        mLine[length - 2] = '\r';
        mLine[length - 1] = '\n';
    }
    return writeText(mLine, static_cast<std::size_t>(length));
}

int Tracer::traceRaw(int level, const char* format, ...) {
    platform::LockGuard guard(mLock);
    if ((static_cast<std::uint32_t>(level) & mFilter) == 0) return 0;
    std::memset(mMessage, 0, sizeof mMessage);
    va_list args;
    va_start(args, format);
    int n = std::vsnprintf(mMessage, sizeof mMessage, format, args);
    va_end(args);
    if (n < 0) return 0;
    return writeText(mMessage, std::strlen(mMessage));
}

int Tracer::startup(const char* fileName, int filter) {
    platform::LockGuard guard(mLock);
    mFilter = static_cast<std::uint32_t>(filter);
    mOpen = false;
    if (mFile.isOpen()) return 1;
    if (!mFile.create(fileName != nullptr ? fileName : kDefaultFileName)) return -1;
    mOpen = true;
    mFile.seekToEnd();
    traceRaw(kTraceAll, "%s\r\n", kBeginBanner);
    traceRaw(kTraceAll, "\r\n");
    return 0;
}

void Tracer::close() {
    platform::LockGuard guard(mLock);
    traceRaw(kTraceAll, "\r\n");
    traceRaw(kTraceAll, "%s\r\n", kEndBanner);
    mFile.close();
    mOpen = false;
    mFilter = 0;
    resetClock();
}

void Tracer::setFilter(std::uint32_t mask) {
    platform::LockGuard guard(mLock);
    mFilter = mask;
}

void Tracer::addFilter(std::uint32_t mask) {
    platform::LockGuard guard(mLock);
    mFilter = mask == 0 ? 0 : (mFilter | mask);
}

void Tracer::removeFilter(std::uint32_t mask) {
    platform::LockGuard guard(mLock);
    mFilter &= ~mask;
}

std::uint32_t Tracer::filter() {
    platform::LockGuard guard(mLock);
    return mFilter;
}
