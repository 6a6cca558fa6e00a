// The formatter's variables, its two checks and the staging they feed.
#include "support/number_formatter.h"

#include <gtest/gtest.h>

#include <memory>

#include "number_formatter_helpers.h"

using namespace nf_test;

namespace {

// A formatter with two committed rules, 0 -> "1" and 00 -> "2".
class NumberFormatterWithRules : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(apply(mFormatter, mSettings, NumberFormatter::kRulesBit), 0); }

    std::vector<DialRule> committedRules() {
        ModuleVariables v{};
        mFormatter.getModuleVariables(&v, NumberFormatter::kRulesBit);
        std::vector<DialRule> rules(static_cast<std::size_t>(v.mRuleCount));
        v.mRules = rules.data();
        mFormatter.getModuleVariables(&v, NumberFormatter::kRulesBit);
        return rules;
    }
    const DialRule& pending(int index) { return mFormatter.pendingRules()[static_cast<std::size_t>(index)]; }

    Settings mSettings{.rules = {rule(u"0", u"1"), rule(u"00", u"2")}};
    NumberFormatter mFormatter;
};

}  // namespace

TEST(NumberFormatterVariables, MaskChoosesWhatIsWrittenAndWhatIsRead) {
    NumberFormatter formatter;
    ASSERT_EQ(apply(formatter, {.shortLength = 5, .prefix = u"9", .defaultDigits = u"0049"}), 0);
    // Bits 0x40 and 0x100 name no variable. Refused default digits are the
    // result even though the short length was written.
    ASSERT_EQ(apply(formatter, {.shortLength = 7, .prefix = u"8", .defaultDigits = u"x"},
                    NumberFormatter::kShortLengthBit | NumberFormatter::kDefaultDigitsBit | 0x40 | 0x100),
              0x20);
    ModuleVariables out{};
    out.mRuleCount = -7;
    ASSERT_EQ(formatter.getModuleVariables(&out, NumberFormatter::kShortLengthBit | NumberFormatter::kPrefixBit), 0);
    EXPECT_EQ(out.mShortLength, 7);
    EXPECT_EQ(Text(out.mPrefix, out.mPrefixLength), u"9");
    EXPECT_EQ(out.mRuleCount, -7);
    EXPECT_EQ(out.mDefaultDigitsLength, 0);
    EXPECT_EQ(formatLong(formatter, u"1"), u"900491");

    EXPECT_EQ(formatter.setModuleVariables(nullptr, -1), -1);
    EXPECT_EQ(formatter.getModuleVariables(nullptr, -1), -1);
}

TEST(NumberFormatterVariables, PrefixAndDefaultDigitsAreTakenOnlyWhenValid) {
    constexpr int kPrefix = NumberFormatter::kPrefixBit;
    constexpr int kDigits = NumberFormatter::kDefaultDigitsBit;
    struct Case {
        int bit;
        const char16_t* text;
        int length;
        int result;
        const char16_t* formatted;  // "0" in the long form, after the write
    };
    const char16_t* nine = u"123456789";
    const Case cases[] = {
        {kPrefix, u"9", 1, 0, u"90"},          {kPrefix, u"7777", -1, 0, u"90"},    {kPrefix, nine, 9, 0, u"90"},
        {kDigits, nine, 9, 0, u"91234567890"}, {kDigits, u"", 0, 0, u"90"},         {kDigits, u"7", 1, 0, u"970"},
        {kDigits, nine, 10, 0x20, u"970"},     {kDigits, u"1", -1, 0x20, u"970"},   {kDigits, u"12a", 3, 0x20, u"970"},
        {kDigits, u"+1", 2, 0x20, u"970"},     {kDigits, u"1\n2", 3, 0x20, u"970"}, {kPrefix, u"", 0, 0, u"70"},
    };
    NumberFormatter formatter;
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const Case& c = cases[i];
        SCOPED_TRACE(i);
        ModuleVariables v{};
        if (c.bit == kPrefix) {
            fill(v.mPrefix, c.text);
            v.mPrefixLength = c.length;
        } else {
            fill(v.mDefaultDigits, c.text);
            v.mDefaultDigitsLength = c.length;
        }
        EXPECT_EQ(formatter.setModuleVariables(&v, c.bit), c.result);
        EXPECT_EQ(formatLong(formatter, u"0"), c.formatted);
    }
}

TEST_F(NumberFormatterWithRules, TableIsReadInTwoSteps) {
    ModuleVariables out{};
    ASSERT_EQ(mFormatter.getModuleVariables(&out, NumberFormatter::kRulesBit), 0);
    EXPECT_EQ(out.mRuleCount, 2);
    EXPECT_EQ(out.mRules, nullptr);

    DialRule rules[3] = {};
    rules[2] = rule(u"untouched", u"");
    out.mRules = rules;
    ASSERT_EQ(mFormatter.getModuleVariables(&out, NumberFormatter::kRulesBit), 0);
    EXPECT_EQ(leadingOf(rules[1]) + u"/" + addedOf(rules[1]) + u"/" + leadingOf(rules[2]), u"00/2/untouched");
}

TEST_F(NumberFormatterWithRules, WritingATableReplacesBothCopiesAndDropsStagedChanges) {
    // An unusable table leaves the old one in place.
    DialRule replacement = rule(u"5", u"6");
    for (int count : {0, -1, NumberFormatter::kMaxRuleCount + 1, 1}) {
        ModuleVariables v{};
        v.mRules = count == 1 ? nullptr : &replacement;
        v.mRuleCount = count;
        EXPECT_EQ(mFormatter.setModuleVariables(&v, NumberFormatter::kRulesBit), 0);
        EXPECT_EQ(committedRules().size(), 2u) << count;
    }
    ASSERT_EQ(mFormatter.checkLeading(u"9", 1, 0), 0);
    ASSERT_EQ(apply(mFormatter, {.rules = {rule(u"1", u""), rule(u"2", u""), rule(u"3", u"")}}), 0);
    ASSERT_EQ(committedRules().size(), 3u);
    EXPECT_EQ(leadingOf(pending(0)), u"1");
    EXPECT_EQ(mFormatter.checkLeading(u"4", 1, 2), 0);

    ASSERT_EQ(apply(mFormatter, {.rules = {rule(u"8", u"")}}), 0);
    EXPECT_EQ(leadingOf(committedRules()[0]), u"8");
    EXPECT_EQ(mFormatter.pendingRules().size(), 1u);
    EXPECT_EQ(mFormatter.checkLeading(u"4", 1, 1), -1);
}

TEST_F(NumberFormatterWithRules, ChecksGiveTheirResultsAndStageOnlyWhatPasses) {
    struct Case {
        char check;  // 'L' leading, 'A' added
        const sp_wchar_t* text;
        int length;
        int rule;
        int expected;
    };
    const sp_wchar_t* full = u"12345678901234567";  // 17 characters
    const sp_wchar_t* over = u"123456789012345678";
    const Case cases[] = {
        {'L', u"+", 1, 0, 0},    {'L', u"+49", 3, 0, 0},    {'L', u"0", 1, 1, 0},    {'L', full, 17, 0, 0},
        {'L', u"", 1, 0, 2},     {'L', u"12+3", 4, 0, 2},   {'L', u"++1", 3, 0, 2},  {'L', u"49+", 3, 0, 2},
        {'L', u"12a", 3, 0, 2},  {'L', u"12\n34", 5, 0, 2}, {'L', u"12\n", 3, 0, 2}, {'L', nullptr, 1, 0, -1},
        {'L', u"1", -1, 0, -1},  {'L', over, 18, 0, -1},    {'L', u"1", 1, 2, -1},   {'L', u"1", 1, -1, -1},
        {'A', u"", 0, -1, 0},    {'A', full, 9, -1, 0},     {'A', u"5", 1, 0, 0},    {'A', u"", 0, 1, 0},
        {'A', u"12a", 3, -1, 4}, {'A', u"+1", 2, 0, 4},     {'A', u"1\n2", 3, 0, 4}, {'A', nullptr, 0, -1, -1},
        {'A', u"1", -1, 0, -1},  {'A', over, 10, 0, -1},    {'A', u"1", 1, 2, -1},   {'A', u"1", 1, -2, -1},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const Case& c = cases[i];
        SCOPED_TRACE(i);
        mFormatter.discardChanges();
        const int result = c.check == 'L' ? mFormatter.checkLeading(c.text, c.length, c.rule)
                                          : mFormatter.checkAdded(c.text, c.length, c.rule);
        EXPECT_EQ(result, c.expected);
        if (result != 0) {
            EXPECT_EQ(leadingOf(pending(0)) + addedOf(pending(0)) + leadingOf(pending(1)), u"0100");
        }
    }
}

TEST_F(NumberFormatterWithRules, EmptyLeadingTakesTheRuleOutOfUse) {
    ASSERT_EQ(mFormatter.checkLeading(u"ignored", 0, 1), 0);
    EXPECT_EQ(leadingOf(pending(1)), u"");
    EXPECT_EQ(pending(1).mLeadingLength, 0);
    EXPECT_EQ(pending(1).mEnabled, 0);
    EXPECT_EQ(mFormatter.checkAdded(u"5", 1, 1), 8);
    EXPECT_EQ(addedOf(pending(1)), u"2");
    // A new leading text puts it back in use.
    ASSERT_EQ(mFormatter.checkLeading(u"7", 1, 1), 0);
    EXPECT_EQ(mFormatter.checkAdded(u"5", 1, 1), 0);
}

TEST_F(NumberFormatterWithRules, ChecksStageCopiesOfTheGivenLength) {
    ASSERT_EQ(mFormatter.checkLeading(u"+4912", 3, 0), 0);
    EXPECT_EQ(leadingOf(pending(0)), u"+49");
    EXPECT_EQ(pending(0).mLeadingLength, 3);
    ASSERT_EQ(mFormatter.checkAdded(u"0044", 2, 0), 0);
    EXPECT_EQ(addedOf(pending(0)), u"00");
    EXPECT_EQ(pending(0).mAddedLength, 2);
    // One added character is recorded with length 0.
    ASSERT_EQ(mFormatter.checkAdded(u"9", 1, 0), 0);
    EXPECT_EQ(addedOf(pending(0)), u"9");
    EXPECT_EQ(pending(0).mAddedLength, 0);

    // A length beyond the text stops at its terminator: the block is exactly
    // as long as the text, so a read past it is caught by the address sanitizer.
    auto text = std::make_unique<sp_wchar_t[]>(3);
    text[0] = u'1';
    text[1] = u'2';
    ASSERT_EQ(mFormatter.checkLeading(text.get(), 17, 0), 0);
    ASSERT_EQ(mFormatter.checkAdded(text.get(), 9, 0), 0);
    EXPECT_EQ(leadingOf(pending(0)) + u"/" + addedOf(pending(0)), u"12/12");
}

TEST_F(NumberFormatterWithRules, StagedRulesDoNotFormatUntilWrittenAndDiscardRestoresThem) {
    ASSERT_EQ(mFormatter.checkLeading(u"0", 1, 1), 0);
    ASSERT_EQ(mFormatter.checkLeading(u"00", 2, 0), 0);
    ASSERT_EQ(mFormatter.checkAdded(u"3", 1, 0), 0);
    EXPECT_EQ(formatLong(mFormatter, u"0012345"), u"1012345");
    EXPECT_EQ(leadingOf(committedRules()[0]), u"0");

    mFormatter.discardChanges();
    EXPECT_EQ(leadingOf(pending(0)) + addedOf(pending(0)) + leadingOf(pending(1)), u"0100");

    // Committing is writing the whole table.
    ASSERT_EQ(mFormatter.checkLeading(u"00", 2, 0), 0);
    ASSERT_EQ(mFormatter.checkAdded(u"3", 1, 0), 0);
    Settings staged{.rules = {mFormatter.pendingRules().begin(), mFormatter.pendingRules().end()}};
    ASSERT_EQ(apply(mFormatter, staged, NumberFormatter::kRulesBit), 0);
    EXPECT_EQ(formatLong(mFormatter, u"0012345"), u"312345");
}
