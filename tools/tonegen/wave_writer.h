// Writes 8 kHz, 16-bit, mono PCM samples as a RIFF WAVE file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

inline constexpr int kSampleRate = 8000;

// False when the file can't be written.
bool writeWave(const std::string& path, const std::vector<std::int16_t>& samples);
