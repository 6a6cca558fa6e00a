// Test material for the concealment benchmarks: a speech-like signal
// (voiced syllables on a drifting pitch through moving formants, unvoiced
// noise bursts, pauses) and a random frame-loss mask, both reproducible
// from a seed.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace bench {

constexpr int kSampleRate = 8000;
constexpr int kFrameSamples = 160;

// Two-pole resonator at `frequency` with `bandwidth`, unity gain near its peak.
class Resonator {
public:
    void tune(double frequency, double bandwidth) {
        const double pi = std::acos(-1.0);
        const double r = std::exp(-pi * bandwidth / kSampleRate);
        mA1 = 2.0 * r * std::cos(2.0 * pi * frequency / kSampleRate);
        mA2 = -r * r;
        mGain = 1.0 - r;
    }
    double step(double x) {
        const double y = mGain * x + mA1 * mY1 + mA2 * mY2;
        mY2 = mY1;
        mY1 = y;
        return y;
    }

private:
    double mA1 = 0, mA2 = 0, mGain = 0, mY1 = 0, mY2 = 0;
};

inline std::vector<std::int16_t> speechLikeSignal(int seconds, std::uint32_t seed) {
    struct Vowel {
        double f1, f2, f3;
    };
    constexpr std::array<Vowel, 6> kVowels = {
        Vowel{730, 1090, 2440}, Vowel{270, 2290, 3010}, Vowel{530, 1840, 2480},
        Vowel{570, 840, 2410},  Vowel{440, 1020, 2240}, Vowel{300, 870, 2240},
    };
    const double pi = std::acos(-1.0);
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> uniform(0.0, 1.0);
    std::normal_distribution<double> noise(0.0, 1.0);

    const int total = seconds * kSampleRate;
    std::vector<double> signal;
    signal.reserve(total);
    std::array<Resonator, 3> formants;
    Resonator fricative;
    fricative.tune(3000, 1200);
    double phase = 0;
    double baseF0 = 120;

    while (static_cast<int>(signal.size()) < total) {
        // A syllable: voiced nucleus, sometimes an unvoiced tail, then a pause.
        const int voiced = static_cast<int>((0.12 + 0.2 * uniform(random)) * kSampleRate);
        const Vowel from = kVowels[random() % kVowels.size()];
        const Vowel to = kVowels[random() % kVowels.size()];
        baseF0 = std::clamp(baseF0 + 30.0 * (uniform(random) - 0.5), 90.0, 220.0);
        const double f0Slope = 40.0 * (uniform(random) - 0.6);
        const double level = 0.5 + 0.5 * uniform(random);
        for (int n = 0; n < voiced; ++n) {
            const double t = static_cast<double>(n) / voiced;
            if (n % 40 == 0) {
                formants[0].tune(from.f1 + (to.f1 - from.f1) * t, 90);
                formants[1].tune(from.f2 + (to.f2 - from.f2) * t, 110);
                formants[2].tune(from.f3 + (to.f3 - from.f3) * t, 160);
            }
            const double f0 = baseF0 + f0Slope * t + 3.0 * std::sin(2.0 * pi * 5.0 * n / kSampleRate);
            phase += f0 / kSampleRate;
            if (phase >= 1.0) phase -= 1.0;
            // Glottal flow derivative, roughly: an open phase and a sharp closure.
            const double glottal = phase < 0.6 ? std::sin(pi * phase / 0.6) : -2.5 * std::sin(pi * (phase - 0.6) / 0.4);
            const double excitation = glottal + 0.03 * noise(random);
            double y = formants[0].step(excitation) * 1.0 + formants[1].step(excitation) * 0.6 +
                       formants[2].step(excitation) * 0.3;
            const double envelope = std::sin(pi * std::min(1.0, std::min(t, 1.0 - t) * 5.0) / 2.0);
            signal.push_back(y * envelope * level);
        }
        if (uniform(random) < 0.4) {
            const int unvoiced = static_cast<int>((0.04 + 0.06 * uniform(random)) * kSampleRate);
            for (int n = 0; n < unvoiced; ++n) {
                const double t = static_cast<double>(n) / unvoiced;
                signal.push_back(0.25 * fricative.step(noise(random)) * std::sin(pi * t));
            }
        }
        const int pause = static_cast<int>((0.03 + 0.3 * uniform(random) * uniform(random)) * kSampleRate);
        for (int n = 0; n < pause; ++n) signal.push_back(0.002 * noise(random));
    }
    signal.resize(total);

    double peak = 0;
    for (double v : signal) peak = std::max(peak, std::abs(v));
    std::vector<std::int16_t> pcm(total);
    for (int n = 0; n < total; ++n) pcm[n] = static_cast<std::int16_t>(std::lround(signal[n] / peak * 16000.0));
    return pcm;
}

// true = the frame is lost.
inline std::vector<bool> randomLossMask(int frames, double rate, std::uint32_t seed) {
    std::mt19937 random(seed);
    std::bernoulli_distribution lost(rate);
    std::vector<bool> mask(frames);
    for (int f = 0; f < frames; ++f) mask[f] = lost(random);
    return mask;
}

}  // namespace bench
