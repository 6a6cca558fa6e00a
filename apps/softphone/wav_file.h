// 16-bit PCM RIFF WAVE files at 8000 Hz, mono: the voice frame's format.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace client {

// Reads a 16-bit PCM file at 8000 Hz; of several channels the first is
// taken. False with the reason in `error`.
bool readWav(const std::string& path, std::vector<std::int16_t>& samples, std::string& error);
bool writeWav(const std::string& path, const std::vector<std::int16_t>& samples);

}  // namespace client
