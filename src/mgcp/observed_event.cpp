#include "mgcp/observed_event.h"

#include <array>

namespace {

// Key texts that stand for themselves after "fk", in the order tried.
constexpr std::array<std::string_view, 37> kFixedKeys = {
    "0200", "0100", "0730", "0731", "0732", "0733", "0734", "0735", "0736", "0737", "0738", "0739", "0723",
    "072a", "0300", "0301", "0a00", "0a01", "0a02", "0a04", "0a05", "0a06", "0b00", "0b01", "0b03", "0b04",
    "0b05", "0b06", "0b07", "0b08", "0b09", "0b0a", "0a03", "0d00", "0d01", "0d02", "0d03",
};

constexpr std::array<std::string_view, 5> kLines = {
    "line(0000)", "line(0001)", "line(0002)", "line(0003)", "line(0004)",
};

int hexNibble(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// The first four characters as two hexadecimal bytes; -1 when one of them
// is no hexadecimal digit, so that such a text matches no row.
int leadingHexWord(std::string_view text) {
    if (text.size() < 4) return -1;
    int value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        const int nibble = hexNibble(text[i]);
        if (nibble < 0) return -1;
        value = value * 16 + nibble;
    }
    return value;
}

}  // namespace

ObservedEvent lookupObservedEvent(std::string_view keyText) {
    for (std::string_view key : kFixedKeys) {
        if (keyText == key) {
            return {key == "0a03" ? ObservedEventKind::KeyWithSecondK : ObservedEventKind::Key, keyText};
        }
    }
    for (std::string_view line : kLines) {
        if (keyText == line) return {ObservedEventKind::Line, keyText};
    }
    const int word = leadingHexWord(keyText);
    if (word >= 0x0c00 && word <= 0x0c2f) return {ObservedEventKind::Key, keyText.substr(0, 4)};
    return {};
}

std::string observedEventLine(std::string_view keyText) {
    const ObservedEvent event = lookupObservedEvent(keyText);
    switch (event.kind) {
        case ObservedEventKind::Key:
        case ObservedEventKind::KeyWithSecondK:
            return "O: X-P/fk" + std::string(event.code) + "\r\n";
        case ObservedEventKind::Line:
            return "O: X-P/" + std::string(event.code) + "\r\n";
        case ObservedEventKind::None:
            break;
    }
    return {};
}
