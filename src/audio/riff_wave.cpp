#include "audio/riff_wave.h"

#include <algorithm>

namespace {

std::uint32_t le32(std::span<const std::uint8_t> b, std::size_t at) {
    return static_cast<std::uint32_t>(b[at]) | static_cast<std::uint32_t>(b[at + 1]) << 8 |
           static_cast<std::uint32_t>(b[at + 2]) << 16 | static_cast<std::uint32_t>(b[at + 3]) << 24;
}

std::uint16_t le16(std::span<const std::uint8_t> b, std::size_t at) {
    return static_cast<std::uint16_t>(b[at] | b[at + 1] << 8);
}

bool isTag(std::span<const std::uint8_t> b, std::size_t at, const char (&tag)[5]) {
    for (std::size_t i = 0; i < 4; ++i) {
        if (b[at + i] != static_cast<std::uint8_t>(tag[i])) return false;
    }
    return true;
}

}  // namespace

RiffWaveResult parseRiffWave(std::span<const std::uint8_t> file, RiffWave& out) {
    if (file.size() < 12 || !isTag(file, 0, "RIFF")) return RiffWaveResult::NotRiff;
    if (!isTag(file, 8, "WAVE")) return RiffWaveResult::NotWave;
    // A RIFF size past the file is common in cut recordings: the chunks are
    // looked for as far as the file goes.
    const std::uint64_t riffEnd = std::min<std::uint64_t>(8ull + le32(file, 4), file.size());

    bool haveFormat = false;
    bool haveData = false;
    std::uint64_t dataOffset = 0;
    std::uint64_t dataBytes = 0;
    std::uint64_t at = 12;
    while (at + 8 <= riffEnd && !(haveFormat && haveData)) {
        const std::uint64_t size = le32(file, at + 4);
        const std::uint64_t body = at + 8;
        if (isTag(file, at, "fmt ") && !haveFormat) {
            if (size < 16 || body + size > riffEnd) return RiffWaveResult::ShortFormat;
            platform::WaveFormat f;
            f.formatTag = le16(file, body);
            f.channels = le16(file, body + 2);
            f.samplesPerSec = le32(file, body + 4);
            f.blockAlign = le16(file, body + 12);
            f.bitsPerSample = le16(file, body + 14);
            if (f.formatTag != 1) return RiffWaveResult::NotPcm;
            // The average rate is derived, not trusted: pacing divides by it.
            f.avgBytesPerSec = f.samplesPerSec * f.blockAlign;
            if (!platform::isPlayablePcm(f)) return RiffWaveResult::BadFormat;
            out.format = f;
            haveFormat = true;
        } else if (isTag(file, at, "data") && !haveData) {
            if (body + size > file.size()) return RiffWaveResult::DataPastEnd;
            dataOffset = body;
            dataBytes = size;
            haveData = true;
        }
        at = body + size + (size & 1);  // chunks start on even offsets
    }
    if (!haveFormat) return RiffWaveResult::NoFormat;
    if (!haveData) return RiffWaveResult::NoData;
    dataBytes -= dataBytes % out.format.blockAlign;
    if (dataBytes == 0) return RiffWaveResult::NoData;
    out.dataOffset = static_cast<std::size_t>(dataOffset);
    out.dataBytes = static_cast<std::uint32_t>(dataBytes);
    return RiffWaveResult::Ok;
}
