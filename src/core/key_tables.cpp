#include "core/key_tables.h"

#include <cstddef>

#include "softphone.h"

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
    addRange(SP_KEY_ON_HOOK, SP_KEY_ON_HOOK);
    addRange(SP_KEY_OFF_HOOK, SP_KEY_OFF_HOOK);
    addRange(SP_KEY_0300, SP_KEY_0301);
    addRange(SP_KEY_DIGIT_0, SP_KEY_DIGIT_9);
    addRange(SP_KEY_STAR, SP_KEY_STAR);
    addRange(SP_KEY_HASH, SP_KEY_HASH);
    addRange(SP_KEY_0A_FIRST, SP_KEY_0A_LAST);
    // 0x0B02 is no key.
    addRange(SP_KEY_0B_FIRST, SP_KEY_0B_FIRST + 1);
    addRange(SP_KEY_0B_FIRST + 3, SP_KEY_0B_LAST);
    addRange(SP_KEY_SOFT_FIRST, SP_KEY_SOFT_LAST);
    addRange(SP_KEY_0D_FIRST, SP_KEY_0D_LAST);
    addRange(SP_KEY_0E00, SP_KEY_0E00);
    static const char* const kLineKeys[] = {"line(0000)", "line(0001)", "line(0002)", "line(0003)", "line(0004)"};
    for (std::uint32_t i = 0; i < 5; ++i) gKeyTextTable.emplace(SP_KEY_LINE_1 + i, kLineKeys[i]);
    gKeyTextTable.emplace(SP_KEY_SPEAKER, "spkout");

    gDialCharTable.clear();
    for (unsigned char c = '0'; c <= '9'; ++c)
        gDialCharTable.emplace(c, SP_KEY_DIGIT_0 + static_cast<std::uint32_t>(c - '0'));
    gDialCharTable.emplace('*', SP_KEY_STAR);
    gDialCharTable.emplace('#', SP_KEY_HASH);
    gDialCharTable.emplace('P', SP_KEY_PAUSE);
    gDialCharTable.emplace('W', SP_KEY_PAUSE);
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
