// What each tone file sounds like.
#pragma once

#include <cstdint>
#include <vector>

#include "tones/tone_files.h"

std::vector<std::int16_t> toneFileSound(ToneFile file);
// A service tone in the sound of an area; empty for an unknown area or code.
std::vector<std::int16_t> serviceToneSound(int area, int code);

// The two frequencies of a DTMF key: row (low group) and column (high group).
struct DtmfPair {
    double low;
    double high;
};
// The key of a DTMF file, or false for any other file.
bool dtmfPair(ToneFile file, DtmfPair* pair);
