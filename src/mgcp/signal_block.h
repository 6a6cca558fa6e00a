// One X-P signal as the CallProcessor receives it: a 1024-byte block that
// begins with a tag text, with a record behind the tag for some signals.
// Records are written byte by byte, little-endian, at any offset: the block
// is plain bytes, and the reader copies values out as they stand.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "softphone.h"

constexpr std::size_t kSignalBlockSize = SP_SIGNAL_BLOCK_BYTES;

struct SignalBlock {
    std::array<std::uint8_t, kSignalBlockSize> bytes{};

    void clear() { bytes.fill(0); }
    const char* data() const { return reinterpret_cast<const char*>(bytes.data()); }

    // Writes past the block are dropped; the last byte is never written, so
    // the block always holds a terminated text.
    void putByte(std::size_t index, std::uint8_t value) {
        if (index < kSignalBlockSize - 1) bytes[index] = value;
    }
    void putInt32(std::size_t index, std::int32_t value) {
        const auto u = static_cast<std::uint32_t>(value);
        for (std::size_t i = 0; i < 4; ++i) putByte(index + i, static_cast<std::uint8_t>(u >> (8 * i)));
    }
    // The text's bytes, without a terminator; gives the index behind them.
    std::size_t putText(std::size_t index, std::string_view text) {
        for (char c : text) putByte(index++, static_cast<std::uint8_t>(c));
        return index;
    }
    std::int32_t int32At(std::size_t index) const {
        std::uint32_t u = 0;
        for (std::size_t i = 0; i < 4 && index + i < kSignalBlockSize; ++i) {
            u |= std::uint32_t{bytes[index + i]} << (8 * i);
        }
        return static_cast<std::int32_t>(u);
    }
};

// Tags and record layouts the CallProcessor reads.
inline constexpr std::string_view kToneTag = "mgcp_tone";
inline constexpr std::string_view kPbxSettingTag = "pbx_setting";

// ToneData: eight 32-bit values behind "mgcp_tone" and its zero byte.
constexpr std::size_t kToneDataOffset = kToneTag.size() + 1;
static_assert(SP_TONE_DATA_KIND == kToneDataOffset && SP_TONE_DATA_BYTES == kToneDataOffset + 32);
enum ToneDataField : std::size_t {
    kToneKind = SP_TONE_DATA_KIND - kToneDataOffset,
    kToneVolume0 = SP_TONE_DATA_VOLUME_0 - kToneDataOffset,
    kToneVolume1 = SP_TONE_DATA_VOLUME_1 - kToneDataOffset,
    kToneVolume2 = SP_TONE_DATA_VOLUME_2 - kToneDataOffset,
    kToneVolumeRinger = SP_TONE_DATA_VOLUME_RINGER - kToneDataOffset,
    kToneRingBase = SP_TONE_DATA_RING_BASE - kToneDataOffset,
    kToneRingPattern = SP_TONE_DATA_RING_PATTERN - kToneDataOffset,
    kToneRingMelody = SP_TONE_DATA_RING_MELODY - kToneDataOffset,
};
constexpr std::int32_t kToneKindRing = SP_TONE_KIND_RING;
constexpr std::int32_t kToneKindVolume = SP_TONE_KIND_VOLUME;

// PbxSetting: ProgramMode and KeyPadMode behind "pbx_setting" and its zero.
constexpr std::size_t kPbxSettingOffset = SP_PBX_SETTING_PROGRAM_MODE;
static_assert(kPbxSettingOffset == kPbxSettingTag.size() + 1 && SP_PBX_SETTING_BYTES == kPbxSettingOffset + 8);

// ToneCommand behind the four characters "tone": code, value, three flags.
constexpr std::size_t kToneCommandOffset = SP_TONE_COMMAND_CODE;

// KeyLabels behind "slc": count, two words of presence bits, 48 entries of
// a length and 16 bytes of text.
constexpr std::size_t kKeyLabelsOffset = SP_KEY_LABELS_COUNT;
constexpr std::size_t kKeyLabelEntries = SP_SOFT_KEY_COUNT;
constexpr std::size_t kKeyLabelTextSize = SP_KEY_LABEL_ENTRY_BYTES - SP_KEY_LABEL_TEXT;
constexpr std::size_t kKeyLabelMaxLength = SP_KEY_LABEL_MAX_LENGTH;
constexpr std::size_t kKeyLabelEntryOffset = SP_KEY_LABELS_ENTRIES;
constexpr std::size_t kKeyLabelEntrySize = SP_KEY_LABEL_ENTRY_BYTES;
