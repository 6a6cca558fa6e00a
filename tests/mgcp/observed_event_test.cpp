// The observed-event line of an NTFY for each key text, row by row and at
// the edges of the table.
#include "mgcp/observed_event.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

struct Row {
    const char* key;
    const char* line;  // empty: no O: line
};

constexpr Row kRows[] = {
    {"0200", "O: X-P/fk0200\r\n"},
    {"0100", "O: X-P/fk0100\r\n"},
    {"0730", "O: X-P/fk0730\r\n"},
    {"0739", "O: X-P/fk0739\r\n"},
    {"0723", "O: X-P/fk0723\r\n"},
    {"072a", "O: X-P/fk072a\r\n"},
    {"0300", "O: X-P/fk0300\r\n"},
    {"0301", "O: X-P/fk0301\r\n"},
    {"0a00", "O: X-P/fk0a00\r\n"},
    {"0a02", "O: X-P/fk0a02\r\n"},
    {"0a03", "O: X-P/fk0a03\r\n"},
    {"0a04", "O: X-P/fk0a04\r\n"},
    {"0a06", "O: X-P/fk0a06\r\n"},
    {"0b00", "O: X-P/fk0b00\r\n"},
    {"0b01", "O: X-P/fk0b01\r\n"},
    {"0b03", "O: X-P/fk0b03\r\n"},
    {"0b0a", "O: X-P/fk0b0a\r\n"},
    {"0d00", "O: X-P/fk0d00\r\n"},
    {"0d03", "O: X-P/fk0d03\r\n"},
    {"line(0000)", "O: X-P/line(0000)\r\n"},
    {"line(0004)", "O: X-P/line(0004)\r\n"},
    // The programmable keys, in the spelling of the text.
    {"0c00", "O: X-P/fk0c00\r\n"},
    {"0c2f", "O: X-P/fk0c2f\r\n"},
    {"0C2F", "O: X-P/fk0C2F\r\n"},
    {"0c1A", "O: X-P/fk0c1A\r\n"},
    {"0c05extra", "O: X-P/fk0c05\r\n"},
    // Edges: no row.
    {"072A", ""},
    {"0c30", ""},
    {"0bff", ""},
    {"0b02", ""},
    {"0b0b", ""},
    {"0a07", ""},
    {"0d04", ""},
    {"073a", ""},
    {"0200 ", ""},
    {"line(0005)", ""},
    {"LINE(0000)", ""},
    {"0e00", ""},
    {"spkout", ""},
    {"0c2", ""},
    {"0cg0", ""},
    {"", ""},
};

class ObservedEventRow : public ::testing::TestWithParam<Row> {};

TEST_P(ObservedEventRow, GivesItsLine) {
    EXPECT_EQ(observedEventLine(GetParam().key), GetParam().line) << "key text " << GetParam().key;
}

INSTANTIATE_TEST_SUITE_P(Table, ObservedEventRow, ::testing::ValuesIn(kRows));

TEST(ObservedEvent, EveryDigitKeyMapsToItself) {
    for (int digit = 0; digit <= 9; ++digit) {
        char key[8];
        std::snprintf(key, sizeof key, "073%d", digit);
        EXPECT_EQ(observedEventLine(key), std::string("O: X-P/fk") + key + "\r\n");
    }
}

TEST(ObservedEvent, WholeProgrammableBlockMatchesAndNothingAroundIt) {
    for (int code = 0x0bf0; code <= 0x0c40; ++code) {
        char key[8];
        std::snprintf(key, sizeof key, "%04x", code);
        const bool inBlock = code >= 0x0c00 && code <= 0x0c2f;
        EXPECT_EQ(!observedEventLine(key).empty(), inBlock) << key;
    }
}

TEST(ObservedEvent, OnlyTheKey0a03AsksForASecondKLine) {
    EXPECT_EQ(lookupObservedEvent("0a03").kind, ObservedEventKind::KeyWithSecondK);
    EXPECT_EQ(lookupObservedEvent("0a02").kind, ObservedEventKind::Key);
    EXPECT_EQ(lookupObservedEvent("line(0001)").kind, ObservedEventKind::Line);
}

}  // namespace
