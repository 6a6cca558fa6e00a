// Reference codecs of the simulated far end: the standard's G.711 and G.729
// straight from the coder library, independent of the terminal's own code.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace sim {

// Payload types the far end speaks.
constexpr int kPayloadPcmu = 0;
constexpr int kPayloadPcma = 8;
constexpr int kPayloadG722 = 9;
constexpr int kPayloadG729 = 18;
constexpr int kSamplesPerPacket = 160;

std::uint8_t ulawFromLinear(std::int16_t sample);
std::int16_t ulawToLinear(std::uint8_t code);
std::uint8_t alawFromLinear(std::int16_t sample);
std::int16_t alawToLinear(std::uint8_t code);

// The payload bytes of one 20 ms packet for `payloadType`: 160 bytes of
// G.711, 20 bytes of G.729, or 160 filler bytes for G.722.
int payloadBytes(int payloadType);

// Codes `pcm` in packets of 160 samples (a short tail is left out). G.729
// runs one encoder, voice activity detection off, over the whole signal.
std::vector<std::vector<std::uint8_t>> encodeStream(int payloadType, std::span<const std::int16_t> pcm);
// Decodes the payloads in order with one decoder; 160 samples each.
std::vector<std::int16_t> decodeStream(int payloadType, const std::vector<std::vector<std::uint8_t>>& payloads);

// Test signals at 8000 Hz. A voiced one: harmonics of `pitchHz` under a
// formant-like envelope, with a slow vibrato so the coder meets change.
std::vector<std::int16_t> voicedSignal(int samples, double pitchHz = 120.0, double peak = 8000.0);

// Signal-to-noise ratio in dB of `decoded` against `reference`, after
// `delay` samples of the decoded signal are skipped.
double snrDb(std::span<const std::int16_t> reference, std::span<const std::int16_t> decoded, int delay);
// The delay from 0 to `maxDelay` samples that gives the best ratio.
int bestDelay(std::span<const std::int16_t> reference, std::span<const std::int16_t> decoded, int maxDelay);

}  // namespace sim
