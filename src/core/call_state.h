// The call-state table: which inputs a state accepts and where they lead.
#pragma once

#include <cstdint>

enum CallState : std::int32_t {
    kCallStopped = 0,
    kCallIdle = 1,
    kCallDialling = 2,
    kCallRinging = 3,
    kCallConnected = 4,
};

// Call-state inputs. A Mailbox command is the input of the same number: the
// polling thread steps the state with it before acting on it.
enum CallStateInput : std::int32_t {
    kInputCallEnded = 1,
    kInputRing = 2,
    kInputOffHook = 3,
    kInputOnHook = 4,
    kInputOnHookAlt = 5,
    kInputAnswer = 6,
    kInputMediaConnected = 8,
    kInputBackToIdle = 9,
    kInputSendError = 10,
    kInputSignal = 11,
    kInputModuleStarted = 12,
    kInputKey = 13,
    kInputBackToIdleAlt = 14,
    kInputOpBegin = 15,
};

// True when `state` accepts `input`; `next` then holds the new state.
bool nextCallState(std::int32_t state, std::int32_t input, std::int32_t* next);
