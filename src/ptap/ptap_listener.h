// What PTAP calls out through. Its owner implements both, so the engine can
// be driven by a test without the rest of the system.
#pragma once

#include "common/core_event.h"

// Listener of PTAP's status codes (START accepted, OP_BEGIN answered, ...).
class PtapListener {
public:
    virtual ~PtapListener() = default;
    virtual void onPtapStatus(const int* code) = 0;
};

// PTAP's parent: server events (code ptap::kTypeEvent) and link loss go up
// through here.
class PtapParent {
public:
    virtual ~PtapParent() = default;
    // Result 0, or 1 when the parent refuses work (shutting down).
    virtual int onPtapEvent(const CoreEvent* event, const char* data) = 0;
};
