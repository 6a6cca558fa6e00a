// RIFF WAVE parsing of arbitrary bytes: never a read past the input, and
// what it accepts is a playable format with its samples inside the file.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "audio/riff_wave.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    RiffWave out;
    if (parseRiffWave(std::span<const std::uint8_t>(data, size), out) != RiffWaveResult::Ok) return 0;
    if (!platform::isPlayablePcm(out.format)) std::abort();
    if (out.dataBytes == 0 || out.dataOffset + out.dataBytes > size) std::abort();
    if (out.dataBytes % out.format.blockAlign != 0) std::abort();
    return 0;
}
