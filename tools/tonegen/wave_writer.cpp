#include "wave_writer.h"

#include <cstdio>
#include <memory>

namespace {

void put16(std::vector<unsigned char>& out, std::uint32_t value) {
    out.push_back(static_cast<unsigned char>(value & 0xFF));
    out.push_back(static_cast<unsigned char>((value >> 8) & 0xFF));
}

void put32(std::vector<unsigned char>& out, std::uint32_t value) {
    put16(out, value & 0xFFFF);
    put16(out, value >> 16);
}

void putTag(std::vector<unsigned char>& out, const char (&tag)[5]) {
    out.insert(out.end(), tag, tag + 4);
}

}  // namespace

bool writeWave(const std::string& path, const std::vector<std::int16_t>& samples) {
    const std::uint32_t dataBytes = static_cast<std::uint32_t>(samples.size() * 2);
    std::vector<unsigned char> bytes;
    bytes.reserve(44 + dataBytes);
    putTag(bytes, "RIFF");
    put32(bytes, 36 + dataBytes);
    putTag(bytes, "WAVE");
    putTag(bytes, "fmt ");
    put32(bytes, 16);
    put16(bytes, 1);  // PCM
    put16(bytes, 1);  // mono
    put32(bytes, kSampleRate);
    put32(bytes, kSampleRate * 2);  // bytes a second
    put16(bytes, 2);                // bytes a sample frame
    put16(bytes, 16);               // bits a sample
    putTag(bytes, "data");
    put32(bytes, dataBytes);
    for (std::int16_t sample : samples) put16(bytes, static_cast<std::uint16_t>(sample));

    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "wb"), &std::fclose);
    if (file == nullptr) return false;
    return std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
}
