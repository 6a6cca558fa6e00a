// Packet-loss concealment on the playout side: pitch waveform replication
// with overlap-add, behind a 75-sample delay line that every frame passes
// through, concealed or real.
#pragma once

#include <cstdint>

#include "common/voice_frame.h"

class PLC {
public:
    static constexpr int kHistoryLength = 975;  // 3 x longest pitch + longest overlap
    static constexpr int kPitchMax = 300;
    static constexpr int kPitchMin = 200;
    static constexpr int kOverlapMax = 75;
    // Every frame leaves this many samples later than it came in.
    static constexpr int kDelaySamples = kOverlapMax;

    PLC();

    // Writes a concealed frame (160 samples) in place; the content of
    // `frame` on entry is not read.
    void conceal(std::int16_t* frame);
    // Takes in a real frame (160 samples) and gives back, in place, the
    // frame that comes out of the delay line.
    void addToHistory(std::int16_t* frame);

    // State, for tests and traces.
    int eraseCount() const { return mEraseCount; }
    int pitch() const { return mPitch; }
    int overlapLength() const { return mOverlapLength; }

private:
    int findPitch() const;
    void overlapAddPitchStart();
    void readWaveform(std::int16_t* out, int count);
    void attenuate(std::int16_t* frame) const;
    void blendIntoRealFrame(std::int16_t* frame, const std::int16_t* synthetic, int count) const;
    void save(std::int16_t* frame);
    const float* pitchBufferStart() const { return mPitchBuffer + kHistoryLength - mPitchBufferLength; }

    std::int32_t mEraseCount = 0;
    std::int32_t mOverlapLength = 0;
    std::int32_t mPitchOffset = 0;
    std::int32_t mPitch = 0;
    std::int32_t mPitchBufferLength = 0;
    float mPitchBuffer[kHistoryLength] = {};
    float mLastQuarter[kOverlapMax] = {};
    std::int16_t mHistory[kHistoryLength] = {};
};
