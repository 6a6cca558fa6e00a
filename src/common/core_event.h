// The event record passed between the engines and the CallProcessor. Each
// code space has its own header: Mailbox commands and call-state inputs in
// core/, MGCP operations in mgcp/, PTAP types in ptap/, client events in
// core/client_event.h.
#pragma once

#include <cstdint>

struct CoreEvent {
    std::int32_t code = 0;
};
