// Concealment by pitch waveform replication. All arithmetic is single
// precision and every float-to-integer conversion truncates, so a given
// input always gives the same samples; the build keeps the compiler from
// fusing multiply-adds for the same reason.
#include "voice/plc.h"

#include <cmath>
#include <cstring>

namespace {

constexpr int kFrame = kFrameSamples;
constexpr int kHistory = PLC::kHistoryLength;
constexpr int kPitchSpan = PLC::kPitchMax - PLC::kPitchMin;  // lags searched: 0 to 100
constexpr int kDecimation = 2;
constexpr int kCorrelationLength = 160;
constexpr int kCorrelationBuffer = kCorrelationLength + PLC::kPitchMax;
constexpr float kEnergyFloor = 500.0f;
constexpr int kOverlapPerErasedFrame = 32;
constexpr float kAttenuationPerFrame = 0.2f;
constexpr float kAttenuationPerSample = kAttenuationPerFrame / static_cast<float>(kFrame);
// Frames after which the concealment has faded to silence.
constexpr int kFadeFrames = 6;

float clipToSample(float value) {
    if (value > 32767.0f) return 32767.0f;
    if (value < -32768.0f) return -32768.0f;
    return value;
}

// Cross-fade `from` into `to` over `count` samples; `from` weighs 1 - s at
// the first sample, `to` weighs s, s = 1 / count.
void overlapAdd(const float* from, const float* to, float* out, int count) {
    if (count == 0) return;
    const float step = 1.0f / static_cast<float>(count);
    float fromWeight = 1.0f - step;
    float toWeight = step;
    for (int i = 0; i < count; ++i) {
        out[i] = clipToSample(fromWeight * from[i] + toWeight * to[i]);
        fromWeight -= step;
        toWeight += step;
    }
}

void overlapAdd(const std::int16_t* from, const std::int16_t* to, std::int16_t* out, int count) {
    if (count == 0) return;
    const float step = 1.0f / static_cast<float>(count);
    float fromWeight = 1.0f - step;
    float toWeight = step;
    for (int i = 0; i < count; ++i) {
        const float mixed = fromWeight * static_cast<float>(from[i]) + toWeight * static_cast<float>(to[i]);
        out[i] = static_cast<std::int16_t>(clipToSample(mixed));
        fromWeight -= step;
        toWeight += step;
    }
}

float normalisedCorrelation(float correlation, float energy) {
    const float scale = energy < kEnergyFloor ? kEnergyFloor : energy;
    return correlation / std::sqrt(scale);
}

}  // namespace

PLC::PLC() = default;

void PLC::addToHistory(std::int16_t* frame) {
    if (mEraseCount != 0) {
        // Longer losses get a longer blend into the real signal.
        int count = mOverlapLength + (mEraseCount - 1) * kOverlapPerErasedFrame;
        if (count > kFrame) count = kFrame;
        std::int16_t synthetic[kFrame];
        readWaveform(synthetic, count);
        blendIntoRealFrame(frame, synthetic, count);
        mEraseCount = 0;
    }
    save(frame);
}

void PLC::conceal(std::int16_t* frame) {
    if (mEraseCount == 0) {
        for (int i = 0; i < kHistory; ++i) mPitchBuffer[i] = static_cast<float>(mHistory[i]);
        mPitch = findPitch();
        mOverlapLength = mPitch / 4;
        std::memcpy(mLastQuarter, mPitchBuffer + kHistory - mOverlapLength, sizeof(float) * mOverlapLength);
        mPitchOffset = 0;
        mPitchBufferLength = mPitch;
        overlapAddPitchStart();
        // The delay line still holds the last samples before the loss:
        // reshape them so that playout runs smoothly into the replica.
        for (int i = 0; i < mOverlapLength; ++i) {
            mHistory[kHistory - mOverlapLength + i] =
                static_cast<std::int16_t>(mPitchBuffer[kHistory - mOverlapLength + i]);
        }
        readWaveform(frame, kFrame);
    } else if (mEraseCount == 1 || mEraseCount == 2) {
        // One more period of history joins the waveform; its start is
        // blended with where the old waveform would have gone on.
        std::int16_t oldTail[kOverlapMax];
        const int savedOffset = mPitchOffset;
        readWaveform(oldTail, mOverlapLength);
        mPitchOffset = savedOffset;
        while (mPitchOffset > mPitch) mPitchOffset -= mPitch;
        mPitchBufferLength += mPitch;
        overlapAddPitchStart();
        readWaveform(frame, kFrame);
        overlapAdd(oldTail, frame, frame, mOverlapLength);
        attenuate(frame);
    } else if (mEraseCount < kFadeFrames) {
        readWaveform(frame, kFrame);
        attenuate(frame);
    } else {
        std::memset(frame, 0, sizeof(std::int16_t) * kFrame);
    }
    ++mEraseCount;
    save(frame);
}

// The samples just before the used part of the waveform are blended with
// the last quarter period and become its end, so that the replica loops
// without a step.
void PLC::overlapAddPitchStart() {
    float* end = mPitchBuffer + kHistory;
    const float* start = end - mPitchBufferLength;
    overlapAdd(mLastQuarter, start - mOverlapLength, end - mOverlapLength, mOverlapLength);
}

void PLC::readWaveform(std::int16_t* out, int count) {
    const float* start = pitchBufferStart();
    while (count > 0) {
        int run = mPitchBufferLength - mPitchOffset;
        if (run > count) run = count;
        for (int i = 0; i < run; ++i) out[i] = static_cast<std::int16_t>(start[mPitchOffset + i]);
        mPitchOffset += run;
        if (mPitchOffset == mPitchBufferLength) mPitchOffset = 0;
        out += run;
        count -= run;
    }
}

void PLC::attenuate(std::int16_t* frame) const {
    float gain = 1.0f - static_cast<float>(mEraseCount - 1) * kAttenuationPerFrame;
    for (int i = 0; i < kFrame; ++i) {
        frame[i] = static_cast<std::int16_t>(static_cast<float>(frame[i]) * gain);
        gain -= kAttenuationPerSample;
    }
}

void PLC::blendIntoRealFrame(std::int16_t* frame, const std::int16_t* synthetic, int count) const {
    const float step = 1.0f / static_cast<float>(count);
    float gain = 1.0f - static_cast<float>(mEraseCount - 1) * kAttenuationPerFrame;
    if (gain < 0.0f) gain = 0.0f;
    const float syntheticStep = step * gain;
    float syntheticWeight = (1.0f - step) * gain;
    float realWeight = step;
    for (int i = 0; i < count; ++i) {
        const float mixed =
            syntheticWeight * static_cast<float>(synthetic[i]) + realWeight * static_cast<float>(frame[i]);
        frame[i] = static_cast<std::int16_t>(clipToSample(mixed));
        syntheticWeight -= syntheticStep;
        realWeight += step;
    }
}

void PLC::save(std::int16_t* frame) {
    std::memmove(mHistory, mHistory + kFrame, sizeof(std::int16_t) * (kHistory - kFrame));
    std::memcpy(mHistory + kHistory - kFrame, frame, sizeof(std::int16_t) * kFrame);
    std::memcpy(frame, mHistory + kHistory - kFrame - kDelaySamples, sizeof(std::int16_t) * kFrame);
}

// The lag whose 160 samples best match the last 160 of the history,
// scored by correlation over the square root of the candidate's energy:
// first every second lag on every second sample, then the neighbours of
// the best in full. Equal coarse scores go to the higher lag.
int PLC::findPitch() const {
    const float* end = mPitchBuffer + kHistory;
    const float* match = end - kCorrelationLength;
    const float* base = end - kCorrelationBuffer;

    const float* candidate = base;
    float energy = 0.0f;
    float correlation = 0.0f;
    for (int i = 0; i < kCorrelationLength; i += kDecimation) {
        energy += candidate[i] * candidate[i];
        correlation += candidate[i] * match[i];
    }
    float bestScore = normalisedCorrelation(correlation, energy);
    int bestLag = 0;
    for (int lag = kDecimation; lag <= kPitchSpan; lag += kDecimation) {
        energy -= candidate[0] * candidate[0];
        energy += candidate[kCorrelationLength] * candidate[kCorrelationLength];
        candidate += kDecimation;
        correlation = 0.0f;
        for (int i = 0; i < kCorrelationLength; i += kDecimation) correlation += candidate[i] * match[i];
        const float score = normalisedCorrelation(correlation, energy);
        if (score >= bestScore) {
            bestScore = score;
            bestLag = lag;
        }
    }

    int lag = bestLag - (kDecimation - 1);
    if (lag < 0) lag = 0;
    int lastLag = bestLag + (kDecimation - 1);
    if (lastLag > kPitchSpan) lastLag = kPitchSpan;
    candidate = base + lag;
    energy = 0.0f;
    correlation = 0.0f;
    for (int i = 0; i < kCorrelationLength; ++i) {
        energy += candidate[i] * candidate[i];
        correlation += candidate[i] * match[i];
    }
    bestScore = normalisedCorrelation(correlation, energy);
    bestLag = lag;
    for (++lag; lag <= lastLag; ++lag) {
        energy -= candidate[0] * candidate[0];
        energy += candidate[kCorrelationLength] * candidate[kCorrelationLength];
        ++candidate;
        correlation = 0.0f;
        for (int i = 0; i < kCorrelationLength; ++i) correlation += candidate[i] * match[i];
        const float score = normalisedCorrelation(correlation, energy);
        if (score > bestScore) {
            bestScore = score;
            bestLag = lag;
        }
    }
    return kPitchMax - bestLag;
}
