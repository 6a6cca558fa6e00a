// Test helper: the power of one frequency in a run of samples (Goertzel),
// for hearing which tone a file or a device carries.
#pragma once

#include <cmath>
#include <cstdint>
#include <numbers>
#include <vector>

// Power of `frequency` over `samples`, in linear units.
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
