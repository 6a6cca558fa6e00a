#include "synth.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "wave_writer.h"

namespace {

constexpr int kRampSamples = 24;  // 3 ms

int samplesOf(int ms) {
    return ms * kSampleRate / 1000;
}

double sine(double f, int n) {
    return std::sin(2.0 * std::numbers::pi * f * n / kSampleRate);
}

// Raised-cosine fade at both ends.
void ramp(std::vector<double>& piece) {
    const int n = static_cast<int>(piece.size());
    const int length = std::min(kRampSamples, n / 2);
    for (int i = 0; i < length; ++i) {
        const double gain = 0.5 - 0.5 * std::cos(std::numbers::pi * i / length);
        piece[i] *= gain;
        piece[n - 1 - i] *= gain;
    }
}

}  // namespace

void Synth::add(const std::vector<double>& piece) {
    for (double value : piece) {
        const double scaled = std::clamp(value, -1.0, 1.0) * 32767.0;
        mSamples.push_back(static_cast<std::int16_t>(std::lround(scaled)));
    }
}

Synth& Synth::tone(double f1, double f2, int ms, double level1, double level2, bool ramped) {
    std::vector<double> piece(samplesOf(ms));
    for (int n = 0; n < static_cast<int>(piece.size()); ++n) {
        piece[n] = level1 * sine(f1, n) + (f2 > 0.0 ? level2 * sine(f2, n) : 0.0);
    }
    if (ramped) ramp(piece);
    add(piece);
    return *this;
}

Synth& Synth::silence(int ms) {
    mSamples.insert(mSamples.end(), samplesOf(ms), 0);
    return *this;
}

Synth& Synth::cadence(double f1, double f2, const std::vector<int>& onOffMs, int times) {
    const double level = f2 > 0.0 ? kPairLevel : kToneLevel;
    for (int t = 0; t < times; ++t) {
        bool on = true;
        for (int ms : onOffMs) {
            if (on) {
                tone(f1, f2, ms, level, level);
            } else {
                silence(ms);
            }
            on = !on;
        }
    }
    return *this;
}

Synth& Synth::strike(double f, int ms, double decayMs) {
    std::vector<double> piece(samplesOf(ms));
    for (int n = 0; n < static_cast<int>(piece.size()); ++n) {
        const double envelope = std::exp(-1000.0 * n / kSampleRate / decayMs);
        // A quieter octave above gives the strike some body.
        piece[n] = envelope * (0.4 * sine(f, n) + 0.12 * sine(2.0 * f, n));
    }
    ramp(piece);
    add(piece);
    return *this;
}

Synth& Synth::notes(std::initializer_list<double> frequencies, int noteMs, int gapMs) {
    for (double f : frequencies) {
        tone(f, noteMs);
        silence(gapMs);
    }
    return *this;
}

Synth& Synth::warble(double f1, double f2, int ms, int stepMs) {
    // Whole steps only, each ramped, so the pitch changes without a click.
    for (int at = 0; at + stepMs <= ms; at += stepMs) {
        tone((at / stepMs) % 2 == 0 ? f1 : f2, 0.0, stepMs, kToneLevel, 0.0);
    }
    return *this;
}
