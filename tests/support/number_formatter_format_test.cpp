// Formatting: the short form for internal numbers, the long form with rules,
// default digits and prefix for the rest.
#include <gtest/gtest.h>

#include "number_formatter_helpers.h"
#include "support/number_formatter.h"

using namespace nf_test;

TEST(NumberFormatterFormat, FormatsTheWorkedExample) {
    NumberFormatter formatter;
    ASSERT_EQ(apply(formatter, {.rules = {rule(u"+44", u"0")}, .shortLength = 4, .prefix = u"9", .removeZero = true}),
              0);
    const Formatted international = format(formatter, u"+44 (0)20 7946-0000", 19);
    EXPECT_EQ(international.text, u"902079460000");
    EXPECT_EQ(international.result, 13);
    const Formatted internal = format(formatter, u"1234", 4);
    EXPECT_EQ(internal.text, u"1234");
    EXPECT_EQ(internal.result, 5);
}

TEST(NumberFormatterFormat, ChoosesTheFormByTheClientsLengthAtTheBoundary) {
    NumberFormatter formatter;
    apply(formatter, {.shortLength = 4, .prefix = u"9"});
    EXPECT_EQ(format(formatter, u"1234", 4).text, u"1234");
    EXPECT_EQ(format(formatter, u"1234", 5).text, u"91234");
    // The given length decides, not the text's own.
    EXPECT_EQ(format(formatter, u"12", 10).text, u"912");
    EXPECT_EQ(format(formatter, u"123456", 0).text, u"123456");
}

TEST(NumberFormatterFormat, ShortFormKeepsDialCharactersOnly) {
    const std::pair<Text, Text> cases[] = {
        {u"PW123", u"123"}, {u"1P2", u"1P2"}, {u"1W2", u"1P2"},       {u"+1 (234) 5-6", u"123456"}, {u"*#0", u"*#0"},
        {u"pw1", u"1"},     {u"12+", u"12"},  {u"\u0661\uFF12", u""}, {u"1\u00A02\t3\n4", u"1234"},
    };
    NumberFormatter formatter;
    // Rule, prefix and default digits are there to show that none applies.
    apply(formatter, {.rules = {rule(u"1", u"77")}, .shortLength = 50, .prefix = u"9", .defaultDigits = u"0"});
    for (const auto& [number, expected] : cases) {
        SCOPED_TRACE(std::string(number.begin(), number.end()));
        const Formatted formatted = format(formatter, number, static_cast<int>(number.size()));
        EXPECT_EQ(formatted.text, expected);
        EXPECT_EQ(formatted.result, static_cast<int>(expected.size()) + 1);
    }
}

TEST(NumberFormatterFormat, LongFormAppliesRulesDefaultDigitsAndPrefix) {
    DialRule wrongLengths = rule(u"12", u"3");
    wrongLengths.mLeadingLength = 9;
    wrongLengths.mAddedLength = 0;
    struct Case {
        const char* name;
        Settings settings;
        Text number;
        Text expected;
    };
    const Case cases[] = {
        {"first match wins", {.rules = {rule(u"0", u"1"), rule(u"00", u"2")}}, u"0012345", u"1012345"},
        {"first match, reversed", {.rules = {rule(u"00", u"2"), rule(u"0", u"1")}}, u"0012345", u"212345"},
        {"empty enabled rule", {.rules = {rule(u"", u"55"), rule(u"1", u"0")}}, u"12345", u"5512345"},
        {"empty rule, empty number", {.rules = {rule(u"", u"55")}, .defaultDigits = u"8"}, u"", u"55"},
        {"disabled rule skipped", {.rules = {rule(u"12", u"0", false)}, .defaultDigits = u"8"}, u"12345", u"812345"},
        {"later rule", {.rules = {rule(u"12", u"0", false), rule(u"99", u"4")}}, u"99345", u"4345"},
        {"prefix after a rule", {.rules = {rule(u"0", u"")}, .prefix = u"00"}, u"0123", u"00123"},
        {"prefix and default digits", {.prefix = u"00", .defaultDigits = u"7"}, u"123", u"007123"},
        {"plus seen by the rules", {.rules = {rule(u"+49", u"0")}}, u"+49 30 1234", u"0301234"},
        {"plus never dialled", {}, u"+1 555 0100", u"15550100"},
        {"inner plus", {}, u"49+30", u"4930"},
        {"zero kept", {.rules = {rule(u"+44", u"0")}, .prefix = u"9"}, u"+44 (0)20 7946-0000", u"9002079460000"},
        {"only (0) removed", {.rules = {rule(u"+44", u"0")}, .removeZero = true}, u"+44 (01)20", u"00120"},
        {"leading wait dropped", {}, u"W12345", u"12345"},
        {"pauses stripped, inner wait", {}, u"PP+12W3", u"12P3"},
        {"wait behind the prefix", {.prefix = u"9"}, u"W12345", u"9P12345"},
        // The prefix comes after the wait step: its P is stripped, its W stays.
        {"prefix of pauses", {.prefix = u"PW"}, u"123", u"W123"},
        {"number shorter than the rule", {.rules = {rule(u"12345", u"0")}}, u"1234", u"1234"},
        {"number as long as the rule", {.rules = {rule(u"12345", u"0")}}, u"12345", u"0"},
        // Rule texts count to their terminator, not their length fields.
        {"wrong length fields", {.rules = {wrongLengths}}, u"12999", u"3999"},
        // 17 leading, 9 added and 8 prefix characters leave no terminator.
        {"full fields",
         {.rules = {rule(u"12345678901234567", u"987654321")}, .prefix = u"87654321"},
         u"12345678901234567890",
         u"87654321987654321890"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        NumberFormatter formatter;
        ASSERT_EQ(apply(formatter, c.settings), 0);
        EXPECT_EQ(formatLong(formatter, c.number), c.expected);
    }
}

TEST(NumberFormatterFormat, WorksBeforeAnyVariableIsSet) {
    NumberFormatter formatter;
    EXPECT_EQ(format(formatter, u"1 2", 0).text, u"12");
    EXPECT_EQ(format(formatter, u"+49 (0) 1", 9).text, u"4901");
}

TEST(NumberFormatterFormat, RefusesBadArgumentsAndLeavesOutAlone) {
    NumberFormatter formatter;
    sp_wchar_t sentinel = 0;
    sp_wchar_t* out = &sentinel;
    EXPECT_EQ(formatter.formatNumber(nullptr, 3, &out), -1);
    EXPECT_EQ(formatter.formatNumber(u"123", -1, &out), -1);
    EXPECT_EQ(out, &sentinel);
    EXPECT_EQ(formatter.formatNumber(u"123", 3, nullptr), -1);
}

TEST(NumberFormatterFormat, LongTextsAreFormattedWhole) {
    Text number;
    for (int i = 0; i < 5000; ++i) number += u"12 ";
    NumberFormatter formatter;
    apply(formatter, {.rules = {rule(u"1212", u"0")}, .prefix = u"9"});
    const Text formatted = formatLong(formatter, number);
    EXPECT_EQ(formatted.size(), 10000u - 4u + 2u);
    EXPECT_EQ(formatted.substr(0, 4), u"9012");
}
