// Both signalling links drop a datagram from any sender but the call server
// before reading it. The drop is traced at most once a second, so that a
// flood of them can't fill the trace file. One receive thread uses it.
#pragma once

#include <cstdint>

#include "common/tracer.h"

class ForeignSenderTrace {
public:
    static constexpr std::uint64_t kIntervalMs = 1000;

    // `link`: the name the link traces under ("MGCP", "PTAP").
    explicit ForeignSenderTrace(const char* link) : mLink(link) {}

    void dropped(std::uint32_t address, std::uint64_t nowMs) {
        if (mTraced && nowMs - mLastTraceMs < kIntervalMs) return;
        mTraced = true;
        mLastTraceMs = nowMs;
        Tracer::instance()->trace(kTraceWarning, "[%s :: Warning] Datagram from %u.%u.%u.%u dropped - not the server",
                                  mLink, (address >> 24) & 0xFFu, (address >> 16) & 0xFFu, (address >> 8) & 0xFFu,
                                  address & 0xFFu);
    }

private:
    const char* mLink;
    std::uint64_t mLastTraceMs = 0;
    bool mTraced = false;
};
