// Formatting: the short form for internal numbers, the long form with rules,
// default digits and prefix for the rest.
#include <gtest/gtest.h>

#include "number_formatter_helpers.h"
#include "support/number_formatter.h"

using namespace nf_test;

// Each row formats one number with a fresh formatter; a length of -1 means
// a long number whatever the short length, and a result of 0 is not checked.
TEST(NumberFormatterFormat, FormatsByTheTable) {
    DialRule wrongLengths = rule(u"12", u"3");
    wrongLengths.mLeadingLength = 9;
    wrongLengths.mAddedLength = 0;
    const Settings example{.rules = {rule(u"+44", u"0")}, .shortLength = 4, .prefix = u"9", .removeZero = true};
    const Settings shortOnly{.rules = {rule(u"1", u"77")}, .shortLength = 50, .prefix = u"9", .defaultDigits = u"0"};
    const Settings four{.shortLength = 4, .prefix = u"9"};
    struct Case {
        const char* name;
        Settings settings;
        Text number;
        Text expected;
        int length = -1;
        int result = 0;
    };
    const Case cases[] = {
        // The worked example: the long form, then an internal number.
        {"example, long", example, u"+44 (0)20 7946-0000", u"902079460000", 19, 13},
        {"example, short", example, u"1234", u"1234", 4, 5},
        // The client's length chooses the form, not the text's own.
        {"short at the boundary", four, u"1234", u"1234", 4},
        {"long past the boundary", four, u"1234", u"91234", 5},
        {"long by the given length", four, u"12", u"912", 10},
        {"length 0 is short", four, u"123456", u"123456", 0},
        // The short form keeps dial characters only; no rule, prefix or
        // default digits apply.
        {"short: pauses dropped", shortOnly, u"PW123", u"123", 5, 4},
        {"short: inner pause", shortOnly, u"1P2", u"1P2", 3, 4},
        {"short: wait becomes pause", shortOnly, u"1W2", u"1P2", 3, 4},
        {"short: punctuation", shortOnly, u"+1 (234) 5-6", u"123456", 12, 7},
        {"short: star and hash", shortOnly, u"*#0", u"*#0", 3, 4},
        {"short: lower case pauses", shortOnly, u"pw1", u"1", 3, 2},
        {"short: trailing plus", shortOnly, u"12+", u"12", 3, 3},
        {"short: other digit sets", shortOnly, u"\u0661\uFF12", u"", 2, 1},
        {"short: white space", shortOnly, u"1\u00A02\t3\n4", u"1234", 7, 5},
        // Before any variable is set.
        {"nothing set, short", {}, u"1 2", u"12", 0},
        {"nothing set, long", {}, u"+49 (0) 1", u"4901", 9},
        // The long form: rules, default digits and prefix.
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
        // Rows with nothing to set show the formatter as it starts.
        Settings settings = c.settings;
        if (!settings.rules.empty() || settings.shortLength != 0 || !settings.prefix.empty() ||
            !settings.defaultDigits.empty()) {
            ASSERT_EQ(apply(formatter, settings), 0);
        }
        const Formatted formatted = c.length < 0 ? Formatted{0, formatLong(formatter, c.number)}
                                                 : format(formatter, c.number, c.length);
        EXPECT_EQ(formatted.text, c.expected);
        if (c.result != 0) {
            EXPECT_EQ(formatted.result, c.result);
        }
    }
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
