// Test helper: RIFF WAVE bytes, a PCM file from samples and the pieces to
// build broken ones.
#pragma once

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

namespace wav {

inline void put(std::vector<std::uint8_t>& out, std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

inline void tag(std::vector<std::uint8_t>& out, const char* four) {
    for (int i = 0; i < 4; ++i) out.push_back(static_cast<std::uint8_t>(four[i]));
}

// Appends byte by byte: GCC 12 misreads range inserts into fresh vectors.
inline void append(std::vector<std::uint8_t>& out, const std::vector<std::uint8_t>& more) {
    out.reserve(out.size() + more.size());
    for (std::uint8_t b : more) out.push_back(b);
}

inline std::vector<std::uint8_t> fmtChunk(std::uint16_t formatTag = 1, std::uint16_t channels = 1,
                                          std::uint32_t rate = 8000, std::uint16_t bits = 16) {
    std::vector<std::uint8_t> c;
    tag(c, "fmt ");
    put(c, 16, 4);
    put(c, formatTag, 2);
    put(c, channels, 2);
    put(c, rate, 4);
    put(c, rate * channels * bits / 8, 4);
    put(c, channels * bits / 8, 2);
    put(c, bits, 2);
    return c;
}

inline std::vector<std::uint8_t> dataChunk(const std::vector<std::int16_t>& samples) {
    std::vector<std::uint8_t> c;
    tag(c, "data");
    put(c, static_cast<std::uint32_t>(samples.size() * 2), 4);
    for (std::int16_t s : samples) put(c, static_cast<std::uint16_t>(s), 2);
    return c;
}

// "RIFF" size "WAVE" and the chunks as given.
inline std::vector<std::uint8_t> riff(const std::vector<std::vector<std::uint8_t>>& chunks, const char* form = "WAVE") {
    std::vector<std::uint8_t> body;
    tag(body, form);
    for (const auto& c : chunks) append(body, c);
    std::vector<std::uint8_t> out;
    tag(out, "RIFF");
    put(out, static_cast<std::uint32_t>(body.size()), 4);
    append(out, body);
    return out;
}

inline std::vector<std::uint8_t> pcmFile(const std::vector<std::int16_t>& samples, std::uint32_t rate = 8000) {
    return riff({fmtChunk(1, 1, rate), dataChunk(samples)});
}

// Samples that differ from each other, so a copy out of place shows.
inline std::vector<std::int16_t> ramp(std::size_t count) {
    std::vector<std::int16_t> s(count);
    for (std::size_t i = 0; i < count; ++i) s[i] = static_cast<std::int16_t>((i * 37) % 2000 - 1000);
    return s;
}

inline bool writeFile(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(out);
}

}  // namespace wav
