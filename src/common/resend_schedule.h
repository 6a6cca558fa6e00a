// The wait before each resend of an unanswered packet, shared by both
// signalling links: 500, 1000, 2000 and 4000 ms, then a second each time.
#pragma once

#include <cstdint>

constexpr std::uint32_t resendWaitMs(int resendsSoFar) {
    switch (resendsSoFar) {
        case 0:
            return 500;
        case 1:
            return 1000;
        case 2:
            return 2000;
        case 3:
            return 4000;
        default:
            return 1000;
    }
}
