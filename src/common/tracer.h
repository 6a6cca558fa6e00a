// The system's one log: level-filtered, time-stamped lines in a text file.
#pragma once

#include <cstdint>

#include "platform/file.h"
#include "platform/recursive_lock.h"
#include "softphone.h"

// Trace levels, one bit each. kTraceAll passes whenever any filter bit is set.
enum TraceLevel : int {
    kTraceStatus = SP_TRACE_STATUS,
    kTraceDetail = SP_TRACE_DETAIL,
    kTraceWarning = SP_TRACE_WARNING,
    kTraceError = SP_TRACE_ERROR,
    kTraceCritical = SP_TRACE_CRITICAL,
    kTraceAll = -1,
};

class Tracer {
public:
    // The process-wide object, made at first use. It is never freed, so a
    // thread that traces late never meets a dead object: close() ends the
    // file and resets the state in place instead.
    static Tracer* instance();

    // Result 0, or 2 when the file write failed.
    int trace(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));
    // As trace, with no stamp and no line ending.
    int traceRaw(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));

    // 0 started, 1 already open (writing then stays off), -1 no file.
    int startup(const char* fileName, int filter);
    // Writes the end banner, closes the file and starts over with a filter
    // of 0, as a freshly made tracer.
    void close();

    void setFilter(std::uint32_t mask);
    void addFilter(std::uint32_t mask);
    void removeFilter(std::uint32_t mask);
    std::uint32_t filter();

    static constexpr const char* kDefaultFileName = "trace.log";
    static constexpr const char* kBeginBanner =
        "===============================[ TRACE BEGIN ]================== RELEASE BUILD";
    static constexpr const char* kEndBanner =
        "================================[ TRACE END ]=================================";

private:
    Tracer();
    void resetClock();
    int writeText(const char* text, std::size_t length);

    bool mOpen = false;
    std::uint32_t mFilter = 0;
    platform::OutputFile mFile;
    platform::RecursiveLock mLock;
    float mInvTicks = 1.0f;
    std::uint64_t mStartTicks = 0;
    char mMessage[512] = {};
    char mLine[512] = {};
};
