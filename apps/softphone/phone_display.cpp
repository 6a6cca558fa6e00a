#include "phone_display.h"

#include <cstdio>
#include <cstring>

namespace client {

namespace {

std::string hex4(std::uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "%04X", value & 0xFFFF);
    return text;
}

}  // namespace

PhoneDisplay::PhoneDisplay() : mRows(kRows, std::string(kColumns, ' ')) {}

std::string PhoneDisplay::applyDisplay(const std::string& record) {
    if (record.rfind("cls", 0) == 0) {
        mRows.assign(kRows, std::string(kColumns, ' '));
        return "display cleared";
    }
    if (record.rfind("cll", 0) == 0 && record.size() > 3) {
        const int r = static_cast<unsigned char>(record[3]) - 1;
        if (r >= 0 && r < kRows) mRows[r].assign(kColumns, ' ');
        return "display row " + std::to_string(r) + " cleared";
    }
    if (record.empty() || static_cast<unsigned char>(record[0]) >= 0x20) {
        // Cursor, softkey and menu forms: nothing to draw in a text face.
        return "display form \"" + record.substr(0, 6) + "\"";
    }
    if (record.size() < 2) return "short display record";
    // Column and row are stored plus 1.
    const int column = static_cast<unsigned char>(record[SP_DISPLAY_COLUMN]) - 1;
    const int r = static_cast<unsigned char>(record[SP_DISPLAY_ROW]) - 1;
    const std::string text = record.size() > SP_DISPLAY_TEXT ? record.substr(SP_DISPLAY_TEXT) : std::string();
    if (r < 0 || r >= kRows || column < 0 || column >= kColumns) return "display text off the screen: " + text;
    std::string& line = mRows[r];
    // A text ends its row: what stood behind it goes.
    line.replace(column, std::string::npos, text.substr(0, kColumns - column));
    line.resize(kColumns, ' ');
    return "display row " + std::to_string(r) + ": \"" + text + "\"";
}

void PhoneDisplay::applyLabels(const std::string& block) {
    if (block.size() < SP_KEY_LABELS_BYTES) return;
    std::uint32_t present[2];
    std::memcpy(present, block.data() + SP_KEY_LABELS_PRESENT, sizeof present);
    for (int i = 0; i < SP_SOFT_KEY_COUNT; ++i) {
        if ((present[i / 32] & (1u << (i % 32))) == 0) continue;
        const std::size_t entry = SP_KEY_LABELS_ENTRIES + static_cast<std::size_t>(i) * SP_KEY_LABEL_ENTRY_BYTES;
        std::int32_t length = 0;
        std::memcpy(&length, block.data() + entry, 4);
        if (length < 0 || length > SP_KEY_LABEL_MAX_LENGTH) length = SP_KEY_LABEL_MAX_LENGTH;
        mLabels[i] = block.substr(entry + SP_KEY_LABEL_TEXT, static_cast<std::size_t>(length));
    }
}

std::string PhoneDisplay::lampName(std::uint32_t state) {
    // Green and red families in the order of the key-state codes.
    static const char* const kNames[] = {"off",       "green",     "green 3i",  "green 3si", "green 6i",
                                         "green 6si", "green 12i", "green 24i", "red",       "red 3i",
                                         "red 3si",   "red 6i",    "red 6si",   "red 12i",   "red 24i"};
    return state <= SP_LAMP_RED_24I ? kNames[state] : "state " + std::to_string(state);
}

std::string PhoneDisplay::row(int index) const {
    return index >= 0 && index < kRows ? mRows[index] : std::string();
}

std::vector<std::string> PhoneDisplay::render() const {
    std::vector<std::string> out;
    const std::string edge = "+" + std::string(kColumns + 2, '-') + "+";
    out.push_back(edge);
    for (const std::string& r : mRows) out.push_back("| " + r + " |");
    out.push_back(edge);
    // The user's hook shows while the server has said nothing of a call.
    const std::string call = mOffHook && (mCall == "idle" || mCall == "ended") ? "off hook" : mCall;
    std::string status = "call: " + call + (mOffHook ? "" : "  (on hook)") + (mSpeaker ? "  [speaker]" : "") +
                         (mMute ? "  [muted]" : "");
    out.push_back(status);
    std::string lamps = "lamps:";
    for (const auto& [key, state] : mLamps) lamps += " " + hex4(key) + "=" + lampName(state);
    out.push_back(lamps);
    if (!mLabels.empty()) {
        std::string labels = "keys:";
        for (const auto& [index, text] : mLabels) labels += " [" + std::to_string(index) + " " + text + "]";
        out.push_back(labels);
    }
    return out;
}

}  // namespace client
