// The unit of voice between the sound devices, the client and Wave: 20 ms of
// 16-bit mono samples at 8000 Hz.
#pragma once

constexpr int kSampleRate = 8000;
constexpr int kFrameSamples = 160;
constexpr int kFrameBytes = kFrameSamples * 2;
constexpr int kFrameMs = 20;
