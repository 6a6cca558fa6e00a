// What leaves Wave for a run of decoded frames: the two ticks before playout
// begins feed silence into the delay line, then each frame goes through it;
// an empty frame stands for a lost one, which is concealed.
#pragma once

#include <cstdint>
#include <vector>

#include "voice/plc.h"

inline std::vector<std::vector<std::int16_t>> expectedPlayout(std::vector<std::vector<std::int16_t>> frames) {
    PLC plc;
    std::vector<std::int16_t> silence(160, 0);
    plc.addToHistory(silence.data());
    plc.addToHistory(silence.data());
    for (std::vector<std::int16_t>& frame : frames) {
        if (frame.empty()) {
            frame.assign(160, 0);
            plc.conceal(frame.data());
        } else {
            plc.addToHistory(frame.data());
        }
    }
    return frames;
}
