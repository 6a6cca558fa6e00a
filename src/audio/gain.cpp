#include "audio/gain.h"

#include <cstdint>
#include <cstring>

float gainFactor(int level, float step) {
    if (level < -1 || level > 12) return 1.25f;
    if (level == 0) return 1.0f;
    return static_cast<float>(level + 1) * step + 1.0f;
}

int applyGain(void* data, int bytes, int level, float step) {
    if (data == nullptr || bytes < 1) return 1;
    const float factor = gainFactor(level, step);
    if (factor == 1.0f) return 0;
    auto* p = static_cast<std::uint8_t*>(data);
    const int samples = bytes / 2;
    for (int i = 0; i < samples; ++i, p += 2) {
        const auto sample = static_cast<std::int16_t>(p[0] | p[1] << 8);
        float v = static_cast<float>(sample) * factor;
        if (sample > 0) {
            v = v < 0.0f ? 0.0f : (v > 32767.0f ? 32767.0f : v);
        } else {
            v = v < -32768.0f ? -32768.0f : (v > 0.0f ? 0.0f : v);
        }
        const auto out = static_cast<std::uint16_t>(static_cast<std::int16_t>(v));
        p[0] = static_cast<std::uint8_t>(out & 0xFF);
        p[1] = static_cast<std::uint8_t>(out >> 8);
    }
    return 0;
}
