// Test helper: the power of single frequencies in 8 kHz samples, and a DTMF
// detector on top of it.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

// Power of `frequency` over `samples` (Goertzel), in linear units.
inline double goertzelPower(const std::vector<std::int16_t>& samples, double frequency, int rate = 8000) {
    const double coefficient = 2.0 * std::cos(2.0 * std::numbers::pi * frequency / rate);
    double s1 = 0.0, s2 = 0.0;
    for (std::int16_t x : samples) {
        const double s0 = x + coefficient * s1 - s2;
        s2 = s1;
        s1 = s0;
    }
    return s1 * s1 + s2 * s2 - coefficient * s1 * s2;
}

inline constexpr double kDtmfLowGroup[] = {697, 770, 852, 941};
inline constexpr double kDtmfHighGroup[] = {1209, 1336, 1477, 1633};

struct DtmfDetection {
    double low = 0;  // strongest frequency of each group
    double high = 0;
    double marginDb = 0;  // weaker of the pair over the strongest other DTMF frequency
};

inline DtmfDetection detectDtmf(const std::vector<std::int16_t>& samples) {
    DtmfDetection d;
    double powers[8];
    for (int i = 0; i < 4; ++i) {
        powers[i] = goertzelPower(samples, kDtmfLowGroup[i]);
        powers[4 + i] = goertzelPower(samples, kDtmfHighGroup[i]);
    }
    int low = 0, high = 4;
    for (int i = 1; i < 4; ++i) {
        if (powers[i] > powers[low]) low = i;
        if (powers[4 + i] > powers[high]) high = 4 + i;
    }
    double other = 1e-9;
    for (int i = 0; i < 8; ++i)
        if (i != low && i != high) other = std::max(other, powers[i]);
    d.low = kDtmfLowGroup[low];
    d.high = kDtmfHighGroup[high - 4];
    d.marginDb = 10.0 * std::log10(std::min(powers[low], powers[high]) / other);
    return d;
}
