// What MGCP calls out through: the signal lock that keeps an outgoing key and
// an incoming command apart, and the event entry for what the server orders.
#pragma once

#include "common/core_event.h"

class MgcpParent {
public:
    virtual ~MgcpParent() = default;
    // Takes the signal lock for true, releases it for false. Recursive.
    virtual void lockSignal(const bool* on) = 0;
    // `event->code` is an MgcpOperation. Result 0, or 1 when blocked.
    virtual int onMgcpEvent(const CoreEvent* event, const char* data, const bool* takeLock) = 0;
};
