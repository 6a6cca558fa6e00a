#include <gtest/gtest.h>

#include "number_formatter_helpers.h"
#include "support/number_formatter.h"

using namespace nf_test;

namespace {

NumberFormatter& configured(NumberFormatter& formatter, Settings settings) {
    ModuleVariables v = record(settings);
    EXPECT_EQ(formatter.setModuleVariables(&v, -1), 0);
    return formatter;
}

}  // namespace

TEST(NumberFormatterFormat, FormatsTheWorkedExample) {
    NumberFormatter formatter;
    configured(formatter, {.rules = {rule(u"+44", u"0")}, .shortLength = 4, .prefix = u"9", .removeZero = true});

    const Formatted international = format(formatter, u"+44 (0)20 7946-0000", 19);
    EXPECT_EQ(international.text, u"902079460000");
    EXPECT_EQ(international.result, 13);

    const Formatted internal = format(formatter, u"1234", 4);
    EXPECT_EQ(internal.text, u"1234");
    EXPECT_EQ(internal.result, 5);
}

TEST(NumberFormatterFormat, ChoosesTheFormByTheClientsLengthAtTheBoundary) {
    NumberFormatter formatter;
    configured(formatter, {.shortLength = 4, .prefix = u"9"});
    EXPECT_EQ(format(formatter, u"1234", 4).text, u"1234");
    EXPECT_EQ(format(formatter, u"1234", 5).text, u"91234");
    // The given length decides, not the text's own.
    EXPECT_EQ(format(formatter, u"12", 10).text, u"912");
    EXPECT_EQ(format(formatter, u"123456", 0).text, u"123456");
}

TEST(NumberFormatterFormat, ShortFormKeepsDialCharactersOnly) {
    struct Case {
        Text number;
        Text expected;
    };
    const Case cases[] = {
        {u"PW123", u"123"},
        {u"1P2", u"1P2"},
        {u"1W2", u"1P2"},
        {u"+1 (234) 5-6", u"123456"},
        {u"+44 (0)20", u"44020"},
        {u"*#0", u"*#0"},
        {u"pw1", u"1"},
        {u"abc xyz", u""},
        {u"W", u""},
        {u"12+", u"12"},
        {u"123", u"123"},
        {u"\u0661\uFF12", u""},
        {u"1\u00A02\t3\n4", u"1234"},
    };
    NumberFormatter formatter;
    // Rule, prefix and default digits are there to show that none applies.
    configured(formatter, {.rules = {rule(u"1", u"77")}, .shortLength = 50, .prefix = u"9", .defaultDigits = u"0"});
    for (const Case& c : cases) {
        const Formatted formatted = format(formatter, c.number, static_cast<int>(c.number.size()));
        EXPECT_EQ(formatted.text, c.expected);
        EXPECT_EQ(formatted.result, static_cast<int>(c.expected.size()) + 1);
    }
}

TEST(NumberFormatterFormat, FirstMatchingRuleWinsOverALongerOne) {
    NumberFormatter formatter;
    configured(formatter, {.rules = {rule(u"0", u"1"), rule(u"00", u"2")}});
    EXPECT_EQ(formatLong(formatter, u"0012345").text, u"1012345");

    NumberFormatter reversed;
    configured(reversed, {.rules = {rule(u"00", u"2"), rule(u"0", u"1")}});
    EXPECT_EQ(formatLong(reversed, u"0012345").text, u"212345");
}

TEST(NumberFormatterFormat, EmptyEnabledRuleMatchesEveryNumber) {
    NumberFormatter formatter;
    configured(formatter, {.rules = {rule(u"", u"55"), rule(u"1", u"0")}, .defaultDigits = u"8"});
    EXPECT_EQ(formatLong(formatter, u"12345").text, u"5512345");
    EXPECT_EQ(formatLong(formatter, u"").text, u"55");
}

TEST(NumberFormatterFormat, SkipsDisabledRulesAndFallsBackToDefaultDigits) {
    NumberFormatter formatter;
    configured(formatter, {.rules = {rule(u"12", u"0", false), rule(u"99", u"4")}, .defaultDigits = u"8"});
    EXPECT_EQ(formatLong(formatter, u"12345").text, u"812345");
    EXPECT_EQ(formatLong(formatter, u"99345").text, u"4345");
}

TEST(NumberFormatterFormat, PrefixGoesInFrontWhetherARuleMatchedOrNot) {
    NumberFormatter formatter;
    configured(formatter, {.rules = {rule(u"0", u"")}, .prefix = u"00", .defaultDigits = u"7"});
    EXPECT_EQ(formatLong(formatter, u"0123").text, u"00123");
    EXPECT_EQ(formatLong(formatter, u"123").text, u"007123");
}

TEST(NumberFormatterFormat, PlusIsSeenByTheRulesButNeverDialled) {
    NumberFormatter formatter;
    configured(formatter, {.rules = {rule(u"+49", u"0")}});
    EXPECT_EQ(formatLong(formatter, u"+49 30 1234").text, u"0301234");
    EXPECT_EQ(formatLong(formatter, u"+1 555 0100").text, u"15550100");
    EXPECT_EQ(formatLong(formatter, u"49+30").text, u"4930");
}

TEST(NumberFormatterFormat, RemovesTheBracketedZeroOnlyWhenAskedTo) {
    NumberFormatter formatter;
    Settings settings{.rules = {rule(u"+44", u"0")}, .prefix = u"9", .removeZero = false};
    configured(formatter, settings);
    EXPECT_EQ(formatLong(formatter, u"+44 (0)20 7946-0000").text, u"9002079460000");

    settings.removeZero = true;
    configured(formatter, settings);
    EXPECT_EQ(formatLong(formatter, u"+44 (0)20 7946-0000").text, u"902079460000");
    // Only "(0)" itself goes: other brackets lose their brackets alone.
    EXPECT_EQ(formatLong(formatter, u"+44 (01)20").text, u"900120");
}

TEST(NumberFormatterFormat, LongFormTurnsWaitsIntoPausesAndStripsLeadingOnes) {
    NumberFormatter formatter;
    configured(formatter, {});
    EXPECT_EQ(formatLong(formatter, u"W12345").text, u"12345");
    EXPECT_EQ(formatLong(formatter, u"PP+12W3").text, u"12P3");

    configured(formatter, {.prefix = u"9"});
    EXPECT_EQ(formatLong(formatter, u"W12345").text, u"9P12345");
    // The prefix comes after the wait step: its P is stripped, its W stays.
    configured(formatter, {.prefix = u"PW"});
    EXPECT_EQ(formatLong(formatter, u"123").text, u"W123");
}

TEST(NumberFormatterFormat, NumberShorterThanTheLeadingTextDoesNotMatch) {
    NumberFormatter formatter;
    configured(formatter, {.rules = {rule(u"12345", u"0")}});
    EXPECT_EQ(formatLong(formatter, u"1234").text, u"1234");
    EXPECT_EQ(formatLong(formatter, u"12345").text, u"0");
}

TEST(NumberFormatterFormat, RuleTextsCountToTheirTerminatorNotTheirLengthFields) {
    DialRule wrongLengths = rule(u"12", u"3");
    wrongLengths.mLeadingLength = 9;
    wrongLengths.mAddedLength = 0;
    NumberFormatter formatter;
    configured(formatter, {.rules = {wrongLengths}});
    EXPECT_EQ(formatLong(formatter, u"12999").text, u"3999");
}

TEST(NumberFormatterFormat, FullFieldsWithoutTerminatorAreReadToTheirEnd) {
    // 17 leading and 9 added characters leave no room for a terminator.
    NumberFormatter formatter;
    configured(formatter, {.rules = {rule(u"12345678901234567", u"987654321")}, .prefix = u"87654321"});
    EXPECT_EQ(formatLong(formatter, u"12345678901234567890").text, u"87654321987654321890");
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
    EXPECT_EQ(out, &sentinel);
    EXPECT_EQ(formatter.formatNumber(u"123", -1, &out), -1);
    EXPECT_EQ(out, &sentinel);
    EXPECT_EQ(formatter.formatNumber(u"123", 3, nullptr), -1);
}

TEST(NumberFormatterFormat, ResultBelongsToTheFormatterUntilTheNextCall) {
    NumberFormatter formatter;
    sp_wchar_t* first = nullptr;
    ASSERT_EQ(formatter.formatNumber(u"12 34", 5, &first), 5);
    EXPECT_EQ(Text(first), u"1234");
    sp_wchar_t* second = nullptr;
    ASSERT_EQ(formatter.formatNumber(u"none", 4, &second), 1);
    EXPECT_EQ(Text(second), u"");
}

TEST(NumberFormatterFormat, LongTextsAreFormattedWhole) {
    Text number;
    for (int i = 0; i < 5000; ++i) number += u"12 ";
    NumberFormatter formatter;
    configured(formatter, {.rules = {rule(u"1212", u"0")}, .prefix = u"9"});
    const Formatted formatted = formatLong(formatter, number);
    EXPECT_EQ(formatted.text.size(), 10000u - 4u + 2u);
    EXPECT_EQ(formatted.text.substr(0, 4), u"9012");
}
