#include "tones/tone_tables.h"

#include <atomic>

#include "tones/tone_files.h"

namespace tones {
namespace {

#if defined(_WIN32)
#define SP_WIDE(text) L"" text
#else
#define SP_WIDE(text) u"" text
#endif

constexpr const sp_wchar_t* kFilePaths[] = {
#define SP_TONE_FILE_WIDE(id, path) SP_WIDE(path),
    SP_TONE_FILES(SP_TONE_FILE_WIDE)
#undef SP_TONE_FILE_WIDE
};
static_assert(sizeof kFilePaths / sizeof kFilePaths[0] == kToneFileCount);

constexpr const sp_wchar_t* path(ToneFile file) {
    return kFilePaths[static_cast<int>(file)];
}

using enum ToneFile;

// Rows by key index: 0 to 9 the digits, 10 star, 11 hash, 12 to 27 function
// keys, 30 the record key.
const sp_wchar_t* const kKeyTones[kKeyToneRows][kKeyToneColumns] = {
    {path(Dtmf0), path(Dtmf0), nullptr, nullptr, nullptr},
    {path(Dtmf1), path(Dtmf1), nullptr, nullptr, nullptr},
    {path(Dtmf2), path(Dtmf2), nullptr, nullptr, nullptr},
    {path(Dtmf3), path(Dtmf3), nullptr, nullptr, nullptr},
    {path(Dtmf4), path(Dtmf4), nullptr, nullptr, nullptr},
    {path(Dtmf5), path(Dtmf5), nullptr, nullptr, nullptr},
    {path(Dtmf6), path(Dtmf6), nullptr, nullptr, nullptr},
    {path(Dtmf7), path(Dtmf7), nullptr, nullptr, nullptr},
    {path(Dtmf8), path(Dtmf8), nullptr, nullptr, nullptr},
    {path(Dtmf9), path(Dtmf9), nullptr, nullptr, nullptr},
    {path(DtmfStar), path(DtmfStar), nullptr, nullptr, nullptr},
    {path(DtmfHash), path(DtmfHash), nullptr, nullptr, nullptr},
    {path(KeyClick), path(KeyClick), nullptr, nullptr, nullptr},  // 12
    {path(KeyClick), path(KeyClick), nullptr, nullptr, nullptr},
    {path(KeyClick), path(KeyClick), nullptr, nullptr, nullptr},
    {path(KeyClick), path(KeyClick), nullptr, nullptr, nullptr},
    {path(KeyClick), path(KeyClick), nullptr, nullptr, nullptr},
    {path(KeyClick), path(KeyClick), nullptr, nullptr, nullptr},
    {path(KeyClick), path(KeyClick), nullptr, nullptr, nullptr},
    {path(KeyClick), path(KeyClick), nullptr, nullptr, nullptr},
    {path(KeyClick), path(KeyClick), nullptr, nullptr, nullptr},
    {path(KeyClick), path(KeyClick), nullptr, nullptr, nullptr},
    {path(KeyClick), path(KeyClick), nullptr, nullptr, nullptr},  // 22
    {nullptr, path(KeyClick), nullptr, nullptr, nullptr},         // 23
    {nullptr, path(KeyClick), nullptr, nullptr, nullptr},
    {nullptr, path(KeyClick), nullptr, nullptr, nullptr},
    {nullptr, path(KeyClick), nullptr, nullptr, nullptr},
    {nullptr, path(KeyClick), nullptr, nullptr, nullptr},  // 27
    {nullptr, nullptr, nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
    {path(RecordBeep), nullptr, path(RecordBeep), nullptr, nullptr},  // 30
};

constexpr ToneChannel kFile = ToneChannel::File;
constexpr ToneChannel kTone = ToneChannel::Tone;

const ToneRow kToneRows[kLastToneId] = {
    {path(Tone1), -1, true, true, kFile},   {path(Tone2), -1, true, true, kFile},
    {path(Tone3), -1, true, true, kFile},   {path(Tone4), -1, true, false, kFile},
    {path(Tone5), -1, false, false, kTone}, {path(Tone6), -1, false, false, kTone},
    {path(Tone7), 0, false, false, kTone},  {path(Tone8), 0, false, false, kTone},
    {path(Tone9), -1, true, false, kFile},  {path(ToneA), -1, true, false, kFile},
    {path(ToneB), -1, true, false, kFile},  {path(ToneC), 0, false, false, kTone},
    {path(ToneD), 0, false, false, kTone},  {path(ToneE), 0, false, false, kTone},
    {path(ToneF), 0, false, false, kTone},  {path(ToneF), 0, false, false, kTone},
    {path(Tone1), -1, true, true, kFile},
};

constexpr int kMelodies[kMelodySlots] = {0,    1,    2,    3,    4,    5,    6,    7,    0x43, 0x44,
                                         0x45, 0x4A, 0x40, 0x41, 0x42, 0x46, 0x47, 0x48, 0x49, 0x60,
                                         0x61, 0x62, 0x64, 0x65, 0x66, 0x67, 0x80, 0x81, 0x82, 0x83};

struct Area {
    int code;
    const sp_wchar_t* folder;
};
constexpr Area kAreas[] = {
#define SP_TONE_AREA_WIDE(code, folder) {code, SP_WIDE(folder)},
    SP_TONE_AREAS(SP_TONE_AREA_WIDE)
#undef SP_TONE_AREA_WIDE
};

constexpr ServiceTone kServiceTones[] = {
#define SP_SERVICE_TONE_WIDE(code, file, repeat) {code, SP_WIDE(file), repeat},
    SP_SERVICE_TONES(SP_SERVICE_TONE_WIDE)
#undef SP_SERVICE_TONE_WIDE
};

// One word for the rows that custom tones may replace; the melody slot of a
// saved custom tone is one bit. Slot 6 holds the defaults for tones 1 to 3.
std::atomic<std::uint32_t> gRingToneMask{1u << 6};

}  // namespace

const sp_wchar_t* keyTone(int key, int column) {
    if (key < 0 || key >= kKeyToneRows || column < 0 || column >= kKeyToneColumns) return nullptr;
    return kKeyTones[key][column];
}

const ToneRow* toneRow(int iToneID) {
    if (iToneID < kFirstToneId || iToneID > kLastToneId) return nullptr;
    return &kToneRows[iToneID - kFirstToneId];
}

std::uint32_t customMask(const ToneRow& row) {
    return row.ringTone ? gRingToneMask.load() : 0;
}

void setCustomBit(int slot) {
    if (slot >= 0 && slot < kMelodySlots) gRingToneMask.fetch_or(1u << slot);
}

void clearCustomBit(int slot) {
    if (slot >= 0 && slot < kMelodySlots) gRingToneMask.fetch_and(~(1u << slot));
}

int melodySlot(int melody) {
    for (int slot = 0; slot < kMelodySlots; ++slot)
        if (kMelodies[slot] == melody) return slot;
    return kNoMelodySlot;
}

const sp_wchar_t* areaFolder(int area) {
    for (const Area& row : kAreas)
        if (row.code == area) return row.folder;
    return kAreas[0].folder;
}

const ServiceTone* serviceTone(int code) {
    for (const ServiceTone& row : kServiceTones)
        if (row.code == code) return &row;
    return nullptr;
}

}  // namespace tones
