// Measuring the echo of a call: a speech-like test signal, the aligned
// correlation of what came back with what was sent, and which played
// frames carried a sent frame intact.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

namespace client {

// Voiced syllables with moving pitch and formants and short quiet gaps,
// at 8000 Hz.
std::vector<std::int16_t> speechLikeSignal(int samples);

// Best normalised correlation of `recorded` with `sent` over the shifts 0
// to `maxShift` samples (the echo lags), with at least half of `sent`
// overlapping. `shift` gets the best shift.
double alignedCorrelation(const std::vector<std::int16_t>& sent, const std::vector<std::int16_t>& recorded,
                          int maxShift, int* shift);

struct FrameMatch {
    int intact = 0;                          // played frames that carried a sent frame
    int filledIn = 0;                        // played frames between the first and last intact one that carried none
    int firstIntact = -1;                    // index among the played frames
    std::vector<int> delayTicks;             // for each intact frame: ticks from sending to playing
    std::vector<std::pair<int, int>> pairs;  // for each intact frame: (sent frame, played frame)
};

// Matches each played frame with the sent frame it carries (signal to
// noise above 25 dB), walking forward through the sent frames. The engine's
// concealment holds the voice back by a few samples: `lagSamples` (0 to
// 159) is that lag, the aligned shift modulo a frame.
FrameMatch matchFrames(const std::vector<std::int16_t>& sent, const std::vector<std::uint64_t>& sentTicks,
                       const std::vector<std::int16_t>& played, const std::vector<std::uint64_t>& playedTicks,
                       int lagSamples);

}  // namespace client
