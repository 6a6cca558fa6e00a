#include "support/number_formatter.h"

#include <gtest/gtest.h>

#include <memory>

#include "number_formatter_helpers.h"

using namespace nf_test;

namespace {

// A formatter with two committed rules, 0 -> "1" and 00 -> "2".
class NumberFormatterWithRules : public ::testing::Test {
protected:
    void SetUp() override {
        ModuleVariables v = record(mSettings);
        ASSERT_EQ(mFormatter.setModuleVariables(&v, NumberFormatter::kRulesBit), 0);
    }
    std::vector<DialRule> committedRules() {
        ModuleVariables v{};
        mFormatter.getModuleVariables(&v, NumberFormatter::kRulesBit);
        std::vector<DialRule> rules(static_cast<std::size_t>(v.mRuleCount));
        v.mRules = rules.data();
        mFormatter.getModuleVariables(&v, NumberFormatter::kRulesBit);
        return rules;
    }

    Settings mSettings{.rules = {rule(u"0", u"1"), rule(u"00", u"2")}};
    NumberFormatter mFormatter;
};

}  // namespace

// ---- Variables ----

TEST(NumberFormatterVariables, MaskMinusOneWritesAndReadsAllSix) {
    Settings settings{.rules = {rule(u"+49", u"0"), rule(u"1", u"", false)},
                      .shortLength = 5,
                      .prefix = u"9",
                      .removeZero = true,
                      .defaultDigits = u"0049",
                      .storedFlag = 1};
    ModuleVariables in = record(settings);
    NumberFormatter formatter;
    ASSERT_EQ(formatter.setModuleVariables(&in, -1), 0);

    DialRule rules[2] = {};
    ModuleVariables out{};
    out.mRules = rules;
    ASSERT_EQ(formatter.getModuleVariables(&out, -1), 0);
    EXPECT_EQ(out.mRuleCount, 2);
    EXPECT_EQ(leadingOf(rules[0]), u"+49");
    EXPECT_EQ(addedOf(rules[0]), u"0");
    EXPECT_EQ(rules[0].mEnabled, 1);
    EXPECT_EQ(leadingOf(rules[1]), u"1");
    EXPECT_EQ(rules[1].mEnabled, 0);
    EXPECT_EQ(out.mShortLength, 5);
    EXPECT_EQ(out.mStoredFlag, 1);
    EXPECT_EQ(Text(out.mPrefix, 1), u"9");
    EXPECT_EQ(out.mPrefixLength, 1);
    EXPECT_EQ(out.mRemoveZero, 1);
    EXPECT_EQ(Text(out.mDefaultDigits, 4), u"0049");
    EXPECT_EQ(out.mDefaultDigitsLength, 4);
}

TEST(NumberFormatterVariables, WritesOnlyTheVariablesOfTheMask) {
    Settings first{.shortLength = 3, .prefix = u"9", .defaultDigits = u"1"};
    Settings second{.shortLength = 7, .prefix = u"8", .defaultDigits = u"2"};
    ModuleVariables a = record(first);
    ModuleVariables b = record(second);
    NumberFormatter formatter;
    ASSERT_EQ(formatter.setModuleVariables(&a, -1), 0);
    ASSERT_EQ(formatter.setModuleVariables(&b, NumberFormatter::kShortLengthBit | 0x40 | 0x100), 0);

    ModuleVariables out{};
    formatter.getModuleVariables(&out, -1);
    EXPECT_EQ(out.mShortLength, 7);
    EXPECT_EQ(Text(out.mPrefix, 1), u"9");
    EXPECT_EQ(Text(out.mDefaultDigits, 1), u"1");
}

TEST(NumberFormatterVariables, ReadsOnlyTheVariablesOfTheMask) {
    Settings settings{.shortLength = 6, .prefix = u"9"};
    ModuleVariables in = record(settings);
    NumberFormatter formatter;
    formatter.setModuleVariables(&in, -1);

    ModuleVariables out{};
    out.mShortLength = -5;
    out.mRuleCount = -7;
    ASSERT_EQ(formatter.getModuleVariables(&out, NumberFormatter::kPrefixBit), 0);
    EXPECT_EQ(out.mPrefixLength, 1);
    EXPECT_EQ(out.mShortLength, -5);
    EXPECT_EQ(out.mRuleCount, -7);
}

TEST(NumberFormatterVariables, NullRecordIsRefused) {
    NumberFormatter formatter;
    EXPECT_EQ(formatter.setModuleVariables(nullptr, -1), -1);
    EXPECT_EQ(formatter.getModuleVariables(nullptr, -1), -1);
}

TEST(NumberFormatterVariables, PrefixOfLengthOutsideZeroToEightIsIgnored) {
    NumberFormatter formatter;
    Settings settings{.prefix = u"9"};
    ModuleVariables v = record(settings);
    formatter.setModuleVariables(&v, NumberFormatter::kPrefixBit);

    for (int length : {-1, 9, 1000}) {
        ModuleVariables bad = v;
        fill(bad.mPrefix, u"77777777");
        bad.mPrefixLength = length;
        EXPECT_EQ(formatter.setModuleVariables(&bad, NumberFormatter::kPrefixBit), 0);
        EXPECT_EQ(formatLong(formatter, u"123").text, u"9123") << length;
    }
    v.mPrefixLength = 0;
    formatter.setModuleVariables(&v, NumberFormatter::kPrefixBit);
    EXPECT_EQ(formatLong(formatter, u"123").text, u"123");
}

TEST(NumberFormatterVariables, RefusedDefaultDigitsChangeNothingAndGive0x20) {
    struct Case {
        Text text;
        int length;
    };
    const Case refused[] = {{u"123456789", 10}, {u"1", -1}, {u"12a", 3}, {u"+1", 2}, {u"1\n2", 3}, {u"1 2", 3}};
    NumberFormatter formatter;
    Settings good{.defaultDigits = u"7"};
    ModuleVariables v = record(good);
    ASSERT_EQ(formatter.setModuleVariables(&v, NumberFormatter::kDefaultDigitsBit), 0);
    for (const Case& c : refused) {
        ModuleVariables bad{};
        fill(bad.mDefaultDigits, c.text);
        bad.mDefaultDigitsLength = c.length;
        EXPECT_EQ(formatter.setModuleVariables(&bad, NumberFormatter::kDefaultDigitsBit), 0x20);
        EXPECT_EQ(formatLong(formatter, u"123").text, u"7123");
    }
}

TEST(NumberFormatterVariables, DefaultDigitsRefusalIsTheResultEvenWhenOtherBitsWereWritten) {
    Settings settings{.shortLength = 9, .prefix = u"5", .defaultDigits = u"x"};
    ModuleVariables v = record(settings);
    NumberFormatter formatter;
    EXPECT_EQ(formatter.setModuleVariables(&v, -1), 0x20);
    ModuleVariables out{};
    formatter.getModuleVariables(&out, -1);
    EXPECT_EQ(out.mShortLength, 9);
    EXPECT_EQ(out.mPrefixLength, 1);
    EXPECT_EQ(out.mDefaultDigitsLength, 0);
}

TEST(NumberFormatterVariables, EmptyAndFullDefaultDigitsAreTaken) {
    NumberFormatter formatter;
    Settings full{.defaultDigits = u"123456789"};
    ModuleVariables v = record(full);
    EXPECT_EQ(formatter.setModuleVariables(&v, NumberFormatter::kDefaultDigitsBit), 0);
    EXPECT_EQ(formatLong(formatter, u"0").text, u"1234567890");
    Settings empty{};
    v = record(empty);
    EXPECT_EQ(formatter.setModuleVariables(&v, NumberFormatter::kDefaultDigitsBit), 0);
    EXPECT_EQ(formatLong(formatter, u"0").text, u"0");
}

TEST(NumberFormatterVariables, StoredFlagIsKeptAndHasNoEffect) {
    NumberFormatter formatter;
    Settings settings{.prefix = u"9", .storedFlag = 0xA5};
    ModuleVariables v = record(settings);
    formatter.setModuleVariables(&v, -1);
    ModuleVariables out{};
    formatter.getModuleVariables(&out, NumberFormatter::kStoredFlagBit);
    EXPECT_EQ(out.mStoredFlag, 0xA5);
    EXPECT_EQ(formatLong(formatter, u"1").text, u"91");
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
    EXPECT_EQ(leadingOf(rules[0]), u"0");
    EXPECT_EQ(leadingOf(rules[1]), u"00");
    EXPECT_EQ(addedOf(rules[1]), u"2");
    EXPECT_EQ(leadingOf(rules[2]), u"untouched");
}

TEST_F(NumberFormatterWithRules, UnusableTableLeavesTheOldOneInPlace) {
    DialRule replacement = rule(u"5", u"6");
    for (int count : {0, -1, NumberFormatter::kMaxRuleCount + 1}) {
        ModuleVariables v{};
        v.mRules = &replacement;
        v.mRuleCount = count;
        EXPECT_EQ(mFormatter.setModuleVariables(&v, NumberFormatter::kRulesBit), 0);
        EXPECT_EQ(committedRules().size(), 2u) << count;
    }
    ModuleVariables v{};
    v.mRuleCount = 1;
    EXPECT_EQ(mFormatter.setModuleVariables(&v, NumberFormatter::kRulesBit), 0);
    EXPECT_EQ(committedRules().size(), 2u);
}

TEST_F(NumberFormatterWithRules, TableOfAnotherSizeReplacesBothCopies) {
    Settings bigger{.rules = {rule(u"1", u""), rule(u"2", u""), rule(u"3", u"")}};
    ModuleVariables v = record(bigger);
    mFormatter.setModuleVariables(&v, NumberFormatter::kRulesBit);
    ASSERT_EQ(committedRules().size(), 3u);
    EXPECT_EQ(mFormatter.pendingRules().size(), 3u);
    EXPECT_EQ(mFormatter.checkLeading(u"4", 1, 2), 0);

    Settings smaller{.rules = {rule(u"8", u"")}};
    v = record(smaller);
    mFormatter.setModuleVariables(&v, NumberFormatter::kRulesBit);
    ASSERT_EQ(committedRules().size(), 1u);
    EXPECT_EQ(leadingOf(committedRules()[0]), u"8");
    EXPECT_EQ(mFormatter.checkLeading(u"4", 1, 1), -1);
}

// ---- Checks and staging ----

TEST_F(NumberFormatterWithRules, CheckLeadingResults) {
    struct Case {
        const sp_wchar_t* text;
        int length;
        int rule;
        int expected;
    };
    const Case cases[] = {
        {u"+", 1, 0, 0},
        {u"+49", 3, 0, 0},
        {u"0", 1, 1, 0},
        {u"12345678901234567", 17, 0, 0},
        {u"", 1, 0, 2},
        {u"12+3", 4, 0, 2},
        {u"++1", 3, 0, 2},
        {u"12a", 3, 0, 2},
        {u"1 2", 3, 0, 2},
        {u"12\n34", 5, 0, 2},
        {u"12\n", 3, 0, 2},
        {u"49+", 3, 0, 2},
        {nullptr, 1, 0, -1},
        {u"1", -1, 0, -1},
        {u"123456789012345678", 18, 0, -1},
        {u"1", 1, 2, -1},
        {u"1", 1, -1, -1},
        {u"1", 1, 1000, -1},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(mFormatter.checkLeading(c.text, c.length, c.rule), c.expected) << narrow(c.text) << " " << c.length;
    }
}

TEST_F(NumberFormatterWithRules, CheckAddedResults) {
    struct Case {
        const sp_wchar_t* text;
        int length;
        int rule;
        int expected;
    };
    const Case cases[] = {
        {u"", 0, -1, 0},    {u"123456789", 9, -1, 0},   {u"5", 1, 0, 0},
        {u"", 0, 1, 0},     {u"12a", 3, -1, 4},         {u"+1", 2, 0, 4},
        {u"1\n2", 3, 0, 4}, {u"12a", 3, 5, -1},         {nullptr, 0, -1, -1},
        {u"1", -1, 0, -1},  {u"1234567890", 10, 0, -1}, {u"1", 1, 2, -1},
        {u"1", 1, -2, -1},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(mFormatter.checkAdded(c.text, c.length, c.rule), c.expected) << narrow(c.text) << " " << c.rule;
    }
}

TEST(NumberFormatterChecks, WithoutATableOnlyDefaultDigitsCanBeChecked) {
    NumberFormatter formatter;
    EXPECT_EQ(formatter.checkLeading(u"1", 1, 0), -1);
    EXPECT_EQ(formatter.checkAdded(u"1", 1, 0), -1);
    EXPECT_EQ(formatter.checkAdded(u"1", 1, -1), 0);
    formatter.discardChanges();
    EXPECT_TRUE(formatter.pendingRules().empty());
}

TEST_F(NumberFormatterWithRules, EmptyLeadingTakesTheRuleOutOfUse) {
    ASSERT_EQ(mFormatter.checkLeading(u"ignored", 0, 1), 0);
    const DialRule& staged = mFormatter.pendingRules()[1];
    EXPECT_EQ(leadingOf(staged), u"");
    EXPECT_EQ(staged.mLeadingLength, 0);
    EXPECT_EQ(staged.mEnabled, 0);
    EXPECT_EQ(mFormatter.checkAdded(u"5", 1, 1), 8);
    EXPECT_EQ(addedOf(mFormatter.pendingRules()[1]), u"2");
    // A new leading text puts it back in use.
    ASSERT_EQ(mFormatter.checkLeading(u"7", 1, 1), 0);
    EXPECT_EQ(mFormatter.checkAdded(u"5", 1, 1), 0);
}

TEST_F(NumberFormatterWithRules, ChecksStageCopiesOfTheGivenLength) {
    ASSERT_EQ(mFormatter.checkLeading(u"+4912", 3, 0), 0);
    EXPECT_EQ(leadingOf(mFormatter.pendingRules()[0]), u"+49");
    EXPECT_EQ(mFormatter.pendingRules()[0].mLeadingLength, 3);
    EXPECT_EQ(mFormatter.pendingRules()[0].mEnabled, 1);

    ASSERT_EQ(mFormatter.checkAdded(u"0044", 2, 0), 0);
    EXPECT_EQ(addedOf(mFormatter.pendingRules()[0]), u"00");
    EXPECT_EQ(mFormatter.pendingRules()[0].mAddedLength, 2);
    // One added character is recorded with length 0.
    ASSERT_EQ(mFormatter.checkAdded(u"9", 1, 0), 0);
    EXPECT_EQ(addedOf(mFormatter.pendingRules()[0]), u"9");
    EXPECT_EQ(mFormatter.pendingRules()[0].mAddedLength, 0);
}

TEST_F(NumberFormatterWithRules, LengthBeyondTheTextNeverReadsPastIt) {
    // Exactly as long as the text and its terminator, so a read past it is
    // caught by the address sanitizer.
    auto leading = std::make_unique<sp_wchar_t[]>(3);
    leading[0] = u'1';
    leading[1] = u'2';
    leading[2] = 0;
    ASSERT_EQ(mFormatter.checkLeading(leading.get(), 17, 0), 0);
    EXPECT_EQ(leadingOf(mFormatter.pendingRules()[0]), u"12");
    ASSERT_EQ(mFormatter.checkAdded(leading.get(), 9, 0), 0);
    EXPECT_EQ(addedOf(mFormatter.pendingRules()[0]), u"12");
}

TEST_F(NumberFormatterWithRules, StagedRulesDoNotFormatUntilWrittenAndDiscardRestoresThem) {
    ASSERT_EQ(mFormatter.checkLeading(u"0", 1, 1), 0);
    ASSERT_EQ(mFormatter.checkLeading(u"00", 2, 0), 0);
    ASSERT_EQ(mFormatter.checkAdded(u"3", 1, 0), 0);
    EXPECT_EQ(formatLong(mFormatter, u"0012345").text, u"1012345");
    EXPECT_EQ(leadingOf(committedRules()[0]), u"0");

    mFormatter.discardChanges();
    EXPECT_EQ(leadingOf(mFormatter.pendingRules()[0]), u"0");
    EXPECT_EQ(addedOf(mFormatter.pendingRules()[0]), u"1");
    EXPECT_EQ(leadingOf(mFormatter.pendingRules()[1]), u"00");

    // Committing is writing the whole table.
    ASSERT_EQ(mFormatter.checkLeading(u"00", 2, 0), 0);
    ASSERT_EQ(mFormatter.checkAdded(u"3", 1, 0), 0);
    std::vector<DialRule> staged(mFormatter.pendingRules().begin(), mFormatter.pendingRules().end());
    ModuleVariables v{};
    v.mRules = staged.data();
    v.mRuleCount = static_cast<int32_t>(staged.size());
    mFormatter.setModuleVariables(&v, NumberFormatter::kRulesBit);
    EXPECT_EQ(formatLong(mFormatter, u"0012345").text, u"312345");
}

TEST_F(NumberFormatterWithRules, WritingTheTableDropsStagedChanges) {
    ASSERT_EQ(mFormatter.checkLeading(u"9", 1, 0), 0);
    ModuleVariables v = record(mSettings);
    mFormatter.setModuleVariables(&v, NumberFormatter::kRulesBit);
    EXPECT_EQ(leadingOf(mFormatter.pendingRules()[0]), u"0");
}

TEST_F(NumberFormatterWithRules, RefusedChecksStageNothing) {
    EXPECT_EQ(mFormatter.checkLeading(u"1a", 2, 0), 2);
    EXPECT_EQ(mFormatter.checkAdded(u"1a", 2, 0), 4);
    EXPECT_EQ(leadingOf(mFormatter.pendingRules()[0]), u"0");
    EXPECT_EQ(addedOf(mFormatter.pendingRules()[0]), u"1");
}
