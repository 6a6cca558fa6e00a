#include "mgcp/signal_decoder.h"

#include <string_view>

#include "common/tracer.h"

namespace {

using Decoder = SignalResult (*)(const DatagramView& args, SignalBlock& block);

constexpr SignalResult kComplete{true, ToneSignalChange::kNone};
constexpr SignalResult kGoOn{false, ToneSignalChange::kNone};

SignalResult decodeHset(const DatagramView& args, SignalBlock& block) {
    if (args.matches(0, "00")) block.putText(0, "hset_off");
    if (args.matches(0, "01")) block.putText(0, "hset_on");
    return kComplete;
}

// X and Y are the two digits of the argument, in that order.
const char* pctlTag(int x, int y) {
    switch (y) {
        case 1:
            return x == 1 ? "sp_on_offhook" : x == 0 ? "bgm_mute" : "mute";
        case 3:
            return x == 2 ? "mute" : x == 0 ? "sp_on" : "";
        case 0:
            return x == 2 ? "mute" : x == 0 ? "sp_off" : "";
        default:
            return "unmute";
    }
}

SignalResult decodePctl(const DatagramView& args, SignalBlock& block) {
    block.putText(0, pctlTag(args.charAt(0) - '0', args.charAt(1) - '0'));
    return kComplete;
}

struct LampState {
    std::string_view text;
    std::int32_t code;
};
constexpr LampState kLampStates[] = {
    {"off", SP_LAMP_OFF},      {"gon", SP_LAMP_GREEN},      {"g3i", SP_LAMP_GREEN_3I},   {"g3si", SP_LAMP_GREEN_3SI},
    {"g6i", SP_LAMP_GREEN_6I}, {"g6si", SP_LAMP_GREEN_6SI}, {"g12i", SP_LAMP_GREEN_12I}, {"g24i", SP_LAMP_GREEN_24I},
    {"ron", SP_LAMP_RED},      {"r3i", SP_LAMP_RED_3I},     {"r3si", SP_LAMP_RED_3SI},   {"r6i", SP_LAMP_RED_6I},
    {"r6si", SP_LAMP_RED_6SI}, {"r12i", SP_LAMP_RED_12I},   {"r24i", SP_LAMP_RED_24I},
};

SignalResult decodeKeyState(const DatagramView& args, SignalBlock& block) {
    const std::size_t close = args.find(")");
    if (close == DatagramView::npos || close == 0 || close <= 4 || args.charAt(4) != ',') return kComplete;
    const std::string_view state = args.text(5, close - 5);
    if (state.size() != 3 && state.size() != 4) return kComplete;
    for (const LampState& s : kLampStates) {
        if (state == s.text) {
            const std::int32_t key = readHexByte(args, 0) * 256 + readHexByte(args, 2);
            block.putText(0, "ks");
            block.putInt32(2, key);
            block.putInt32(6, s.code);
            break;
        }
    }
    return kComplete;
}

void putPbxSetting(SignalBlock& block, std::int32_t programMode, std::int32_t keyPadMode) {
    block.putText(0, kPbxSettingTag);
    block.putInt32(kPbxSettingOffset, programMode);
    block.putInt32(kPbxSettingOffset + 4, keyPadMode);
}

SignalResult decodeProgramMode(const DatagramView& args, SignalBlock& block) {
    const std::int32_t mode = readHexByte(args, 0);
    putPbxSetting(block, mode, -1);
    Tracer::instance()->trace(kTraceDetail, "[parse_pgmm_packet] ProgramMode = %d", mode);
    return kGoOn;
}

SignalResult decodeKeyPadMode(const DatagramView& args, SignalBlock& block) {
    const std::size_t length = readHexByte(args, 0);
    std::int32_t mode = -1;
    // Pairs of type and value, one byte each, until `length` characters
    // have been taken; the last pair of type 0 counts.
    for (std::size_t used = 0; used < length; used += 4) {
        if (readHexByte(args, 2 + used) == 0) mode = readHexByte(args, 2 + used + 2);
    }
    putPbxSetting(block, -1, mode);
    Tracer::instance()->trace(kTraceDetail, "[parse_cspc_packet] KeyPadMode = %d", mode);
    return kGoOn;
}

void putToneData(SignalBlock& block, const std::int32_t (&values)[8]) {
    block.putText(0, kToneTag);
    for (std::size_t i = 0; i < 8; ++i) block.putInt32(kToneDataOffset + 4 * i, values[i]);
}

SignalResult decodeVolume(const DatagramView& args, SignalBlock& block) {
    const int type = readHexByte(args, 0);
    const std::int32_t value = readHexByte(args, 2);
    std::int32_t data[8] = {kToneKindVolume, -1, -1, -1, -1, -1, -1, -1};
    if (type <= 3) data[1 + type] = value;
    putToneData(block, data);
    const std::int32_t ringer = data[kToneVolumeRinger / 4];
    Tracer::instance()->trace(kTraceDetail, "[MGCP Volume Data] Ringer = %d", ringer);
    if (ringer == 0) {
        // The rest of the tag stays behind "voff"; only these four count.
        block.putText(0, "voff");
        return {false, ToneSignalChange::kCleared};
    }
    return {false, ToneSignalChange::kSet};
}

SignalResult decodeRing(const DatagramView& args, SignalBlock& block) {
    if (args.matches(0, "000000")) {
        block.putText(0, "voff");
        return {false, ToneSignalChange::kCleared};
    }
    const std::int32_t base = readHexByte(args, 0);
    const std::int32_t pattern = readHexByte(args, 2);
    const std::int32_t melody = readHexByte(args, 4);
    const std::int32_t data[8] = {kToneKindRing, -1, -1, -1, -1, base, pattern, melody};
    putToneData(block, data);
    Tracer::instance()->trace(kTraceDetail, "[MGCP Tone Data] Pattern = %d, Melody = %d", pattern, melody);
    return {false, ToneSignalChange::kSet};
}

SignalResult decodeToneCommand(const DatagramView& args, SignalBlock& block) {
    const std::size_t close = args.find(")");
    if (close == DatagramView::npos) return kGoOn;
    block.putText(0, "tone");
    // Fields at fixed places; one that reaches the ")" ends the reading.
    if (close < 2) return kGoOn;
    block.putInt32(kToneCommandOffset, readHexByte(args, 0));
    constexpr std::size_t kFlagAt[3] = {3, 5, 7};
    for (std::size_t i = 0; i < 3; ++i) {
        if (kFlagAt[i] >= close) return kGoOn;
        block.putByte(kToneCommandOffset + 8 + i, args.charAt(kFlagAt[i]) > '0' ? 1 : 0);
    }
    if (close < 12) return kGoOn;
    block.putInt32(kToneCommandOffset + 4, readHexByte(args, 10));
    return kGoOn;
}

SignalResult decodeKeyLabels(const DatagramView& args, SignalBlock& block) {
    if (!args.matches(0, "01")) return kGoOn;
    std::size_t count = readHexByte(args, 2);
    if (count > kKeyLabelEntries) count = kKeyLabelEntries;
    block.putText(0, "slc");
    block.putInt32(kKeyLabelsOffset, static_cast<std::int32_t>(count));
    std::uint32_t present[2] = {0, 0};
    std::size_t at = 4;
    for (std::size_t n = 0; n < count; ++n) {
        const std::size_t index = readHexByte(args, at);
        std::size_t length = readHexByte(args, at + 2);
        at += 4;
        if (index >= kKeyLabelEntries) {
            at += 2 * length;
            continue;
        }
        // A clipped label loses the walk its place: it goes on behind what
        // was stored.
        if (length > kKeyLabelMaxLength) length = kKeyLabelMaxLength;
        const std::size_t entry = kKeyLabelEntryOffset + index * kKeyLabelEntrySize;
        block.putInt32(entry, static_cast<std::int32_t>(length));
        for (std::size_t i = 0; i < length; ++i) block.putByte(entry + 4 + i, readHexByte(args, at + 2 * i));
        at += 2 * length;
        present[index / 32] |= 1u << (index % 32);
    }
    block.putInt32(kKeyLabelsOffset + 4, static_cast<std::int32_t>(present[0]));
    block.putInt32(kKeyLabelsOffset + 8, static_cast<std::int32_t>(present[1]));
    return kGoOn;
}

SignalResult decodeLampText(const DatagramView& args, SignalBlock& block) {
    if (!args.matches(0, "0000180000")) return kGoOn;
    const std::uint8_t count = readHexByte(args, 10);
    block.putText(0, "key");
    block.putByte(3, count);
    for (std::size_t i = 0; i < count; ++i) block.putByte(4 + i, readHexByte(args, 12 + 2 * i));
    return kGoOn;
}

SignalResult decodeDtmSignal(const DatagramView& args, SignalBlock& block) {
    return decodeDtm(args, block) ? kComplete : kGoOn;
}

SignalResult decodeLcdp(const DatagramView& args, SignalBlock& block) {
    decodeDisplay(args, block);
    return kComplete;
}

struct SignalEntry {
    std::string_view name;
    Decoder decode;
};

// Tried in this order against the name.
constexpr SignalEntry kSignals[] = {
    {"hset", decodeHset},       {"pctl", decodePctl},    {"ks", decodeKeyState},   {"pgmm", decodeProgramMode},
    {"cspc", decodeKeyPadMode}, {"vctl", decodeVolume},  {"ring", decodeRing},     {"tone", decodeToneCommand},
    {"slc", decodeKeyLabels},   {"las", decodeLampText}, {"dtm", decodeDtmSignal}, {"lcdp", decodeLcdp},
};

}  // namespace

SignalResult decodeSignal(const DatagramView& signal, SignalBlock& block) {
    for (const SignalEntry& entry : kSignals) {
        // The "(" behind the name is counted, not tested.
        if (signal.matches(0, entry.name)) return entry.decode(signal.from(entry.name.size() + 1), block);
    }
    return kGoOn;
}
