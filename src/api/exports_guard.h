// Every export runs its body through guarded(), so that no exception ever
// crosses the C boundary: a throw gives the export's failure value.
#pragma once

#include <utility>

#include "softphone.h"

template <typename Result, typename Body>
Result guarded(Result onThrow, Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        return onThrow;
    }
}

template <typename Body>
void guardedVoid(Body&& body) noexcept {
    try {
        std::forward<Body>(body)();
    } catch (...) {
    }
}

// A bool of the client arrives as a 32-bit integer whose low byte counts.
inline bool lowByteFlag(int value) {
    return (value & 0xFF) != 0;
}
