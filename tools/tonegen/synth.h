// Builds a sound piece by piece: tones of one or two frequencies, silences,
// cadences and decaying strikes, as 16-bit samples at 8 kHz.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <vector>

// Linear amplitudes, 1.0 is full scale.
inline constexpr double kToneLevel = 0.35;  // one frequency
inline constexpr double kPairLevel = 0.25;  // each of two frequencies

class Synth {
public:
    // Ramped tones start and end softly, so a cut makes no click. An
    // unramped tone of whole seconds loops without a seam.
    Synth& tone(double f1, double f2, int ms, double level1 = kPairLevel, double level2 = kPairLevel, bool ramp = true);
    Synth& tone(double f, int ms) { return tone(f, 0.0, ms, kToneLevel, 0.0); }
    Synth& silence(int ms);
    // On and off times in turn, starting with on, the whole pattern `times`
    // times.
    Synth& cadence(double f1, double f2, const std::vector<int>& onOffMs, int times = 1);
    // A struck note that dies away, for bells and ringers.
    Synth& strike(double f, int ms, double decayMs);
    // Notes of equal length, each ramped, with a short gap.
    Synth& notes(std::initializer_list<double> frequencies, int noteMs, int gapMs);
    // Two notes in fast alternation: the warble of an electronic ringer.
    Synth& warble(double f1, double f2, int ms, int stepMs);

    const std::vector<std::int16_t>& samples() const { return mSamples; }

private:
    void add(const std::vector<double>& piece);

    std::vector<std::int16_t> mSamples;
};
