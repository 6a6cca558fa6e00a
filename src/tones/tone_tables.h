// The TonePlayer's constant tables: key tones, tones 1 to 17, melodies, areas
// and service tones. Only the custom mask of the ring tones changes at run
// time, and it is process-wide: it outlives any one TonePlayer.
#pragma once

#include <cstdint>

#include "softphone.h"

namespace tones {

inline constexpr int kKeyToneRows = SP_KEY_TONE_COUNT;
inline constexpr int kKeyToneColumns = 5;
inline constexpr int kFirstToneId = SP_TONE_ID_FIRST;
inline constexpr int kLastToneId = SP_TONE_ID_LAST;
inline constexpr int kMelodySlots = SP_MELODY_SLOTS;
inline constexpr int kNoMelodySlot = -2;
// Wide characters of a path buffer, terminator included.
inline constexpr int kPathCapacity = SP_TONE_PATH_CHARS;

// Which sound operation a tone goes to: the file channel, after the ring
// volume is set, or the tone channel.
enum class ToneChannel { File, Tone };

struct ToneRow {
    const sp_wchar_t* file;
    int repeat;     // 0 once, -1 until stopped
    bool adjust;    // the tone accepts volume changes
    bool ringTone;  // a custom tone may replace it (rows 1, 2, 3 and 17)
    ToneChannel player;
};

struct ServiceTone {
    int code;
    const sp_wchar_t* file;
    int repeat;
};

// The file of a key in a column, or null for silence (also for a key or
// column outside the table).
const sp_wchar_t* keyTone(int key, int column);

// The row of a tone identifier 1 to 17, or null.
const ToneRow* toneRow(int iToneID);

// The melody slots whose custom tones may replace this row's file, one bit
// each.
std::uint32_t customMask(const ToneRow& row);
void setCustomBit(int slot);
void clearCustomBit(int slot);

// The slot of a melody number, or kNoMelodySlot.
int melodySlot(int melody);

// The folder of an area; an unknown area is the first of the table.
const sp_wchar_t* areaFolder(int area);

// The service tone of a code, or null.
const ServiceTone* serviceTone(int code);

}  // namespace tones
