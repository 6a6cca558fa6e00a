#include "core/key_tables.h"

#include <cstddef>

KeyTextTable gKeyTextTable;
DialCharTable gDialCharTable;

namespace {

constexpr std::size_t kHexKeyCount = 86;  // the 92 keys less the five line keys and "spkout"

// The four-digit texts live in one static block so that the table hands out
// constant strings that never move; a refill writes the same texts again.
char gHexTexts[kHexKeyCount][5];
std::size_t gHexUsed = 0;

void addRange(std::uint32_t first, std::uint32_t last) {
    static const char kDigits[] = "0123456789abcdef";
    for (std::uint32_t n = first; n <= last && gHexUsed < kHexKeyCount; ++n) {
        char* text = gHexTexts[gHexUsed++];
        text[0] = kDigits[(n >> 12) & 0xF];
        text[1] = kDigits[(n >> 8) & 0xF];
        text[2] = kDigits[(n >> 4) & 0xF];
        text[3] = kDigits[n & 0xF];
        text[4] = '\0';
        gKeyTextTable.emplace(n, text);
    }
}

}  // namespace

void fillKeyTables() {
    gKeyTextTable.clear();
    gHexUsed = 0;
    addRange(0x0100, 0x0100);
    addRange(0x0200, 0x0200);
    addRange(0x0300, 0x0301);
    addRange(0x0730, 0x0739);
    addRange(0x072A, 0x072A);
    addRange(0x0723, 0x0723);
    addRange(0x0A00, 0x0A06);
    addRange(0x0B00, 0x0B01);
    addRange(0x0B03, 0x0B0A);
    addRange(0x0C00, 0x0C2F);
    addRange(0x0D00, 0x0D03);
    addRange(0x0E00, 0x0E00);
    static const char* const kLineKeys[] = {"line(0000)", "line(0001)", "line(0002)", "line(0003)", "line(0004)"};
    for (std::uint32_t i = 0; i < 5; ++i) gKeyTextTable.emplace(0x1000 + i, kLineKeys[i]);
    gKeyTextTable.emplace(0x1100, "spkout");

    gDialCharTable.clear();
    for (unsigned char c = '0'; c <= '9'; ++c) gDialCharTable.emplace(c, 0x0730u + (c - '0'));
    gDialCharTable.emplace('*', 0x072A);
    gDialCharTable.emplace('#', 0x0723);
    gDialCharTable.emplace('P', 0x0B08);
    gDialCharTable.emplace('W', 0x0B08);
}

const char* keyText(std::uint32_t keyNumber) {
    auto it = gKeyTextTable.find(keyNumber);
    return it == gKeyTextTable.end() ? nullptr : it->second;
}

namespace {
// Process attach: the tables stand before the first export runs. Defined
// after the two maps, so they are built before this fills them.
struct FillAtAttach {
    FillAtAttach() { fillKeyTables(); }
} gFillAtAttach;
}  // namespace
