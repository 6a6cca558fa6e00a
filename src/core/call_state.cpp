#include "core/call_state.h"

namespace {

struct Transition {
    std::int32_t state;
    std::int32_t input;
    std::int32_t next;
};

constexpr Transition kTransitions[] = {
    {kCallIdle, 2, kCallRinging},         {kCallIdle, 3, kCallDialling},      {kCallIdle, 13, kCallIdle},
    {kCallIdle, 14, kCallIdle},           {kCallDialling, 4, kCallIdle},      {kCallDialling, 8, kCallConnected},
    {kCallDialling, 9, kCallIdle},        {kCallDialling, 13, kCallDialling}, {kCallDialling, 14, kCallIdle},
    {kCallDialling, 15, kCallDialling},   {kCallRinging, 1, kCallIdle},       {kCallRinging, 3, kCallConnected},
    {kCallRinging, 4, kCallIdle},         {kCallRinging, 5, kCallIdle},       {kCallRinging, 6, kCallConnected},
    {kCallRinging, 13, kCallRinging},     {kCallConnected, 1, kCallIdle},     {kCallConnected, 2, kCallConnected},
    {kCallConnected, 4, kCallIdle},       {kCallConnected, 5, kCallIdle},     {kCallConnected, 6, kCallConnected},
    {kCallConnected, 13, kCallConnected},
};

}  // namespace

bool nextCallState(std::int32_t state, std::int32_t input, std::int32_t* next) {
    std::int32_t result = state;
    bool accepted = false;
    if (state == kCallStopped) {
        // Stopped takes everything; only the module start moves it.
        accepted = true;
        if (input == kInputModuleStarted) result = kCallIdle;
    } else if (input == kInputSendError || input == kInputSignal) {
        accepted = true;
    } else {
        for (const Transition& t : kTransitions) {
            if (t.state == state && t.input == input) {
                accepted = true;
                result = t.next;
                break;
            }
        }
    }
    if (accepted && next != nullptr) *next = result;
    return accepted;
}
