// What the engines see of the CallProcessor that owns them. The engines call
// back through these interfaces only, so each can be driven by a test
// without the rest of the system.
#pragma once

#include "core/core_event.h"
#include "softphone.h"

// The CallProcessor's heap copy of the client's ParameterContainer. The
// engines read it and never write or free it.
using NetworkInitData = ParameterContainer;

// Listener of PTAP's status codes (START accepted, OP_BEGIN answered, ...).
class PtapListener {
public:
    virtual ~PtapListener() = default;
    virtual void onPtapStatus(const int* code) = 0;
};

// PTAP's parent: server events and link loss go up through here.
class PtapParent {
public:
    virtual ~PtapParent() = default;
    // Result 0, or 1 when the parent refuses work (shutting down).
    virtual int onPtapEvent(const CoreEvent* event, const char* data) = 0;
};

// MGCP's parent: the signal lock that keeps an outgoing key and an incoming
// command apart, and the event entry for what the server orders.
class MgcpParent {
public:
    virtual ~MgcpParent() = default;
    // Takes the signal lock for true, releases it for false. Recursive.
    virtual void lockSignal(const bool* on) = 0;
    // Result 0, or 1 when blocked.
    virtual int onMgcpEvent(const CoreEvent* event, const char* data, const bool* takeLock) = 0;
};
