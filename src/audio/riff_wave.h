// RIFF WAVE parsing: from the bytes of a file to its PCM format and the
// place of its samples. Pure: no file, no allocation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/wave_device.h"

enum class RiffWaveResult {
    Ok,
    NotRiff,      // no "RIFF" header
    NotWave,      // form type other than "WAVE"
    NoFormat,     // no "fmt " chunk
    ShortFormat,  // "fmt " under 16 bytes, or running past the file
    NotPcm,       // compressed or extended formats are refused
    BadFormat,    // PCM with numbers a device can't play
    NoData,       // no "data" chunk, or no whole sample in it
    DataPastEnd,  // "data" claims more bytes than the file holds
};

struct RiffWave {
    platform::WaveFormat format;
    std::size_t dataOffset = 0;
    std::uint32_t dataBytes = 0;  // whole sample frames only
};

RiffWaveResult parseRiffWave(std::span<const std::uint8_t> file, RiffWave& out);
