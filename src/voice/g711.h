// G.711 companding between 16-bit linear PCM and 8-bit u-law or A-law, one
// 20 ms frame (160 samples) at a time.
#pragma once

#include <cstdint>

#include "common/voice_frame.h"

class G711 {
public:
    // A-law mantissa shifts for alawExpand: 4 is the standard's expansion,
    // 3 gives the signal 6 dB lower and is what Wave uses unless told.
    static constexpr int kAlawShiftStandard = 4;
    static constexpr int kAlawShiftDefault = 3;

    // `out` 160 bytes, `in` 160 samples.
    void ulawCompress(std::uint8_t* out, const std::int16_t* in) const;
    void alawCompress(std::uint8_t* out, const std::int16_t* in) const;
    // `in` 160 bytes, `out` 160 samples.
    void ulawExpand(const std::uint8_t* in, std::int16_t* out) const;
    // `shift` is 3 or 4; any other value counts as 3, the default.
    void alawExpand(const std::uint8_t* in, std::int16_t* out, int shift) const;

    // The same conversions for one sample.
    static std::uint8_t linearToUlaw(std::int16_t sample);
    static std::int16_t ulawToLinear(std::uint8_t code);
    // The sample is taken down by 4 bits before the segment search, so the
    // code is the standard's for half the sample.
    static std::uint8_t linearToAlaw(std::int16_t sample);
    static std::int16_t alawToLinear(std::uint8_t code, int shift);
};
