// The unit of voice between the sound devices, the client and Wave: 20 ms of
// 16-bit mono samples at 8000 Hz.
#pragma once

#include "softphone.h"

constexpr int kSampleRate = SP_VOICE_SAMPLE_RATE;
constexpr int kFrameSamples = SP_VOICE_FRAME_SAMPLES;
constexpr int kFrameBytes = SP_VOICE_FRAME_BYTES;
constexpr int kFrameMs = SP_VOICE_FRAME_MS;
