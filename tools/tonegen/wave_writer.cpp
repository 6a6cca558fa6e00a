#include "wave_writer.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {

// Little-endian fields written at fixed places; a plain array keeps GCC's
// overflow checks quiet under the sanitizers, which vector growth does not.
void putLe(unsigned char* at, std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) at[i] = static_cast<unsigned char>((value >> (8 * i)) & 0xFF);
}

}  // namespace

bool writeWave(const std::string& path, const std::vector<std::int16_t>& samples) {
    const std::uint32_t dataBytes = static_cast<std::uint32_t>(samples.size() * 2);
    std::array<unsigned char, 44> header{};
    std::memcpy(header.data(), "RIFF", 4);
    putLe(header.data() + 4, 36 + dataBytes, 4);
    std::memcpy(header.data() + 8, "WAVEfmt ", 8);
    putLe(header.data() + 16, 16, 4);
    putLe(header.data() + 20, 1, 2);  // PCM
    putLe(header.data() + 22, 1, 2);  // mono
    putLe(header.data() + 24, kSampleRate, 4);
    putLe(header.data() + 28, kSampleRate * 2, 4);  // bytes a second
    putLe(header.data() + 32, 2, 2);                // bytes a sample frame
    putLe(header.data() + 34, 16, 2);               // bits a sample
    std::memcpy(header.data() + 36, "data", 4);
    putLe(header.data() + 40, dataBytes, 4);
    std::vector<unsigned char> data(dataBytes);
    for (std::size_t i = 0; i < samples.size(); ++i) putLe(data.data() + 2 * i, static_cast<std::uint16_t>(samples[i]), 2);

    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "wb"), &std::fclose);
    if (file == nullptr) return false;
    return std::fwrite(header.data(), 1, header.size(), file.get()) == header.size() &&
           std::fwrite(data.data(), 1, data.size(), file.get()) == data.size();
}
