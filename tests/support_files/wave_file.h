// Test helper: reads a RIFF WAVE file's format and its 16-bit samples.
#pragma once

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

struct WaveFile {
    bool ok = false;  // RIFF, WAVE, a fmt chunk of 16 bytes or more and a data chunk
    int formatTag = 0;
    int channels = 0;
    int sampleRate = 0;
    int bitsPerSample = 0;
    std::vector<std::int16_t> samples;
};

inline WaveFile readWaveFile(const std::string& path) {
    WaveFile wave;
    std::ifstream in(path, std::ios::binary);
    const std::vector<unsigned char> b((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    auto u16 = [&](std::size_t at) { return static_cast<unsigned>(b[at] | (b[at + 1] << 8)); };
    auto u32 = [&](std::size_t at) { return static_cast<std::uint32_t>(u16(at) | (u16(at + 2) << 16)); };
    if (b.size() < 12 || std::memcmp(b.data(), "RIFF", 4) != 0 || std::memcmp(b.data() + 8, "WAVE", 4) != 0)
        return wave;
    bool haveFormat = false;
    for (std::size_t at = 12; at + 8 <= b.size();) {
        const std::uint32_t size = u32(at + 4);
        const std::size_t body = at + 8;
        if (body + size > b.size()) return wave;
        if (std::memcmp(&b[at], "fmt ", 4) == 0 && size >= 16) {
            wave.formatTag = static_cast<int>(u16(body));
            wave.channels = static_cast<int>(u16(body + 2));
            wave.sampleRate = static_cast<int>(u32(body + 4));
            wave.bitsPerSample = static_cast<int>(u16(body + 14));
            haveFormat = true;
        } else if (std::memcmp(&b[at], "data", 4) == 0 && haveFormat) {
            for (std::size_t i = 0; i + 1 < size; i += 2)
                wave.samples.push_back(static_cast<std::int16_t>(u16(body + i)));
            wave.ok = true;
            return wave;
        }
        at = body + size + (size & 1);
    }
    return wave;
}
