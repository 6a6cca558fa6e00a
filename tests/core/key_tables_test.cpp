#include "core/key_tables.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

TEST(KeyTables, HoldNinetyTwoKeysAndFourteenDialCharacters) {
    fillKeyTables();
    fillKeyTables();  // a refill empties first
    EXPECT_EQ(gKeyTextTable.size(), 92u);
    EXPECT_EQ(gDialCharTable.size(), 14u);
}

TEST(KeyTables, FourDigitTextsAreTheNumberInLowerCaseHex) {
    fillKeyTables();
    for (const auto& [number, text] : gKeyTextTable) {
        if (number >= 0x1000) continue;
        char expected[8];
        std::snprintf(expected, sizeof expected, "%04x", number);
        EXPECT_STREQ(text, expected);
    }
}

TEST(KeyTables, RangeEdgesAreExact) {
    fillKeyTables();
    struct Case {
        std::uint32_t number;
        const char* text;  // null: not in the table
    } cases[] = {
        {0x0100, "0100"},       {0x0101, nullptr},      {0x0200, "0200"},  {0x0301, "0301"},   {0x0302, nullptr},
        {0x072F, nullptr},      {0x0730, "0730"},       {0x0739, "0739"},  {0x073A, nullptr},  {0x072A, "072a"},
        {0x0723, "0723"},       {0x0A06, "0a06"},       {0x0A07, nullptr}, {0x0B01, "0b01"},   {0x0B02, nullptr},
        {0x0B03, "0b03"},       {0x0B0A, "0b0a"},       {0x0B0B, nullptr}, {0x0C00, "0c00"},   {0x0C2F, "0c2f"},
        {0x0C30, nullptr},      {0x0D03, "0d03"},       {0x0D04, nullptr}, {0x0E00, "0e00"},   {0x0E01, nullptr},
        {0x1000, "line(0000)"}, {0x1004, "line(0004)"}, {0x1005, nullptr}, {0x1100, "spkout"}, {0x1101, nullptr},
        {0, nullptr},           {0xFFFFFFFF, nullptr},
    };
    for (const Case& c : cases) {
        const char* text = keyText(c.number);
        if (c.text == nullptr) {
            EXPECT_EQ(text, nullptr) << std::hex << c.number;
        } else {
            ASSERT_NE(text, nullptr) << std::hex << c.number;
            EXPECT_STREQ(text, c.text);
        }
    }
}

TEST(KeyTables, DialCharactersMapToTheirKeys) {
    fillKeyTables();
    for (char c = '0'; c <= '9'; ++c) EXPECT_EQ(gDialCharTable.at(c), 0x0730u + (c - '0'));
    EXPECT_EQ(gDialCharTable.at('*'), 0x072Au);
    EXPECT_EQ(gDialCharTable.at('#'), 0x0723u);
    EXPECT_EQ(gDialCharTable.at('P'), 0x0B08u);
    EXPECT_EQ(gDialCharTable.at('W'), 0x0B08u);
    EXPECT_EQ(gDialCharTable.count('p'), 0u);
    EXPECT_EQ(gDialCharTable.count('w'), 0u);
}
