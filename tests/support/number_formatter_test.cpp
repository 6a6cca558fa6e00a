// The dial-string formatter: its variables, its two checks and the staging
// they feed, and the short and long forms of a number.
#include "support/number_formatter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support_files/wide_text.h"

namespace {

using Text = WideText;

template <std::size_t N>
void fill(sp_wchar_t (&field)[N], WideView text) {
    std::fill(field, field + N, sp_wchar_t{0});
    std::copy_n(text.begin(), std::min(text.size(), N), field);
}

inline DialRule rule(WideView leading, WideView added, bool enabled = true) {
    DialRule r{};
    fill(r.mLeading, leading);
    r.mLeadingLength = static_cast<int32_t>(leading.size());
    fill(r.mAdded, added);
    r.mAddedLength = static_cast<int32_t>(added.size());
    r.mEnabled = enabled ? 1 : 0;
    return r;
}

// What a client sets in one go.
struct Settings {
    std::vector<DialRule> rules{};
    int shortLength = 0;
    Text prefix{};
    bool removeZero = false;
    Text defaultDigits{};
};

inline ModuleVariables record(Settings& settings) {
    ModuleVariables v{};
    v.mRules = settings.rules.empty() ? nullptr : settings.rules.data();
    v.mRuleCount = static_cast<int32_t>(settings.rules.size());
    v.mShortLength = settings.shortLength;
    fill(v.mPrefix, settings.prefix);
    v.mPrefixLength = static_cast<int32_t>(settings.prefix.size());
    fill(v.mDefaultDigits, settings.defaultDigits);
    v.mDefaultDigitsLength = static_cast<int32_t>(settings.defaultDigits.size());
    v.mRemoveZero = settings.removeZero ? 1 : 0;
    return v;
}

// Writes the settings with `mask`, giving the result.
inline int apply(NumberFormatter& formatter, Settings settings, int mask = -1) {
    ModuleVariables v = record(settings);
    return formatter.setModuleVariables(&v, mask);
}

struct Formatted {
    int result = 0;
    Text text;
};

inline Formatted format(NumberFormatter& formatter, const Text& number, int length) {
    sp_wchar_t* out = nullptr;
    const int result = formatter.formatNumber(number.c_str(), length, &out);
    return {result, out != nullptr ? Text(out) : Text()};
}

// Long enough to be a long number whatever the short length.
inline Text formatLong(NumberFormatter& formatter, const Text& number) {
    return format(formatter, number, 100).text;
}

inline Text leadingOf(const DialRule& r) {
    return Text(r.mLeading, r.mLeading + 17).c_str();
}
inline Text addedOf(const DialRule& r) {
    return Text(r.mAdded, r.mAdded + 9).c_str();
}

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

    Settings mSettings{.rules = {rule(SP_TEXT("0"), SP_TEXT("1")), rule(SP_TEXT("00"), SP_TEXT("2"))}};
    NumberFormatter mFormatter;
};

}  // namespace

TEST(NumberFormatterVariables, MaskChoosesWhatIsWrittenAndWhatIsRead) {
    NumberFormatter formatter;
    ASSERT_EQ(apply(formatter, {.shortLength = 5, .prefix = SP_TEXT("9"), .defaultDigits = SP_TEXT("0049")}), 0);
    // Bits 0x40 and 0x100 name no variable. Refused default digits are the
    // result even though the short length was written.
    ASSERT_EQ(apply(formatter, {.shortLength = 7, .prefix = SP_TEXT("8"), .defaultDigits = SP_TEXT("x")},
                    NumberFormatter::kShortLengthBit | NumberFormatter::kDefaultDigitsBit | 0x40 | 0x100),
              0x20);
    ModuleVariables out{};
    out.mRuleCount = -7;
    ASSERT_EQ(formatter.getModuleVariables(&out, NumberFormatter::kShortLengthBit | NumberFormatter::kPrefixBit), 0);
    EXPECT_EQ(out.mShortLength, 7);
    EXPECT_EQ(Text(out.mPrefix, out.mPrefixLength), SP_TEXT("9"));
    EXPECT_EQ(out.mRuleCount, -7);
    EXPECT_EQ(out.mDefaultDigitsLength, 0);
    EXPECT_EQ(formatLong(formatter, SP_TEXT("1")), SP_TEXT("900491"));

    EXPECT_EQ(formatter.setModuleVariables(nullptr, -1), -1);
    EXPECT_EQ(formatter.getModuleVariables(nullptr, -1), -1);
}

TEST(NumberFormatterVariables, PrefixAndDefaultDigitsAreTakenOnlyWhenValid) {
    constexpr int kPrefix = NumberFormatter::kPrefixBit;
    constexpr int kDigits = NumberFormatter::kDefaultDigitsBit;
    struct Case {
        int bit;
        const sp_wchar_t* text;
        int length;
        int result;
        const sp_wchar_t* formatted;  // "0" in the long form, after the write
    };
    const sp_wchar_t* nine = SP_TEXT("123456789");
    const Case cases[] = {
        {kPrefix, SP_TEXT("9"), 1, 0, SP_TEXT("90")},
        {kPrefix, SP_TEXT("7777"), -1, 0, SP_TEXT("90")},
        {kPrefix, nine, 9, 0, SP_TEXT("90")},
        {kDigits, nine, 9, 0, SP_TEXT("91234567890")},
        {kDigits, SP_TEXT(""), 0, 0, SP_TEXT("90")},
        {kDigits, SP_TEXT("7"), 1, 0, SP_TEXT("970")},
        {kDigits, nine, 10, 0x20, SP_TEXT("970")},
        {kDigits, SP_TEXT("1"), -1, 0x20, SP_TEXT("970")},
        {kDigits, SP_TEXT("12a"), 3, 0x20, SP_TEXT("970")},
        {kDigits, SP_TEXT("+1"), 2, 0x20, SP_TEXT("970")},
        {kDigits, SP_TEXT("1\n2"), 3, 0x20, SP_TEXT("970")},
        {kPrefix, SP_TEXT(""), 0, 0, SP_TEXT("70")},
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
        EXPECT_EQ(formatLong(formatter, SP_TEXT("0")), c.formatted);
    }
}

TEST_F(NumberFormatterWithRules, TableIsReadInTwoSteps) {
    ModuleVariables out{};
    ASSERT_EQ(mFormatter.getModuleVariables(&out, NumberFormatter::kRulesBit), 0);
    EXPECT_EQ(out.mRuleCount, 2);
    EXPECT_EQ(out.mRules, nullptr);

    DialRule rules[3] = {};
    rules[2] = rule(SP_TEXT("untouched"), SP_TEXT(""));
    out.mRules = rules;
    ASSERT_EQ(mFormatter.getModuleVariables(&out, NumberFormatter::kRulesBit), 0);
    EXPECT_EQ(leadingOf(rules[1]) + SP_TEXT("/") + addedOf(rules[1]) + SP_TEXT("/") + leadingOf(rules[2]),
              SP_TEXT("00/2/untouched"));
}

TEST_F(NumberFormatterWithRules, WritingATableReplacesBothCopiesAndDropsStagedChanges) {
    // An unusable table leaves the old one in place.
    DialRule replacement = rule(SP_TEXT("5"), SP_TEXT("6"));
    for (int count : {0, -1, NumberFormatter::kMaxRuleCount + 1, 1}) {
        ModuleVariables v{};
        v.mRules = count == 1 ? nullptr : &replacement;
        v.mRuleCount = count;
        EXPECT_EQ(mFormatter.setModuleVariables(&v, NumberFormatter::kRulesBit), 0);
        EXPECT_EQ(committedRules().size(), 2u) << count;
    }
    ASSERT_EQ(mFormatter.checkLeading(SP_TEXT("9"), 1, 0), 0);
    ASSERT_EQ(apply(mFormatter, {.rules = {rule(SP_TEXT("1"), SP_TEXT("")), rule(SP_TEXT("2"), SP_TEXT("")),
                                           rule(SP_TEXT("3"), SP_TEXT(""))}}),
              0);
    ASSERT_EQ(committedRules().size(), 3u);
    EXPECT_EQ(leadingOf(pending(0)), SP_TEXT("1"));
    EXPECT_EQ(mFormatter.checkLeading(SP_TEXT("4"), 1, 2), 0);

    ASSERT_EQ(apply(mFormatter, {.rules = {rule(SP_TEXT("8"), SP_TEXT(""))}}), 0);
    EXPECT_EQ(leadingOf(committedRules()[0]), SP_TEXT("8"));
    EXPECT_EQ(mFormatter.pendingRules().size(), 1u);
    EXPECT_EQ(mFormatter.checkLeading(SP_TEXT("4"), 1, 1), -1);
}

TEST_F(NumberFormatterWithRules, ChecksGiveTheirResultsAndStageOnlyWhatPasses) {
    struct Case {
        char check;  // 'L' leading, 'A' added
        const sp_wchar_t* text;
        int length;
        int rule;
        int expected;
    };
    const sp_wchar_t* full = SP_TEXT("12345678901234567");  // 17 characters
    const sp_wchar_t* over = SP_TEXT("123456789012345678");
    const Case cases[] = {
        {'L', SP_TEXT("+"), 1, 0, 0},    {'L', SP_TEXT("+49"), 3, 0, 0},
        {'L', SP_TEXT("0"), 1, 1, 0},    {'L', full, 17, 0, 0},
        {'L', SP_TEXT(""), 1, 0, 2},     {'L', SP_TEXT("12+3"), 4, 0, 2},
        {'L', SP_TEXT("++1"), 3, 0, 2},  {'L', SP_TEXT("49+"), 3, 0, 2},
        {'L', SP_TEXT("12a"), 3, 0, 2},  {'L', SP_TEXT("12\n34"), 5, 0, 2},
        {'L', SP_TEXT("12\n"), 3, 0, 2}, {'L', nullptr, 1, 0, -1},
        {'L', SP_TEXT("1"), -1, 0, -1},  {'L', over, 18, 0, -1},
        {'L', SP_TEXT("1"), 1, 2, -1},   {'L', SP_TEXT("1"), 1, -1, -1},
        {'A', SP_TEXT(""), 0, -1, 0},    {'A', full, 9, -1, 0},
        {'A', SP_TEXT("5"), 1, 0, 0},    {'A', SP_TEXT(""), 0, 1, 0},
        {'A', SP_TEXT("12a"), 3, -1, 4}, {'A', SP_TEXT("+1"), 2, 0, 4},
        {'A', SP_TEXT("1\n2"), 3, 0, 4}, {'A', nullptr, 0, -1, -1},
        {'A', SP_TEXT("1"), -1, 0, -1},  {'A', over, 10, 0, -1},
        {'A', SP_TEXT("1"), 1, 2, -1},   {'A', SP_TEXT("1"), 1, -2, -1},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const Case& c = cases[i];
        SCOPED_TRACE(i);
        mFormatter.discardChanges();
        const int result = c.check == 'L' ? mFormatter.checkLeading(c.text, c.length, c.rule)
                                          : mFormatter.checkAdded(c.text, c.length, c.rule);
        EXPECT_EQ(result, c.expected);
        if (result != 0) {
            EXPECT_EQ(leadingOf(pending(0)) + addedOf(pending(0)) + leadingOf(pending(1)), SP_TEXT("0100"));
        }
    }
}

TEST_F(NumberFormatterWithRules, EmptyLeadingTakesTheRuleOutOfUse) {
    ASSERT_EQ(mFormatter.checkLeading(SP_TEXT("ignored"), 0, 1), 0);
    EXPECT_EQ(leadingOf(pending(1)), SP_TEXT(""));
    EXPECT_EQ(pending(1).mLeadingLength, 0);
    EXPECT_EQ(pending(1).mEnabled, 0);
    EXPECT_EQ(mFormatter.checkAdded(SP_TEXT("5"), 1, 1), 8);
    EXPECT_EQ(addedOf(pending(1)), SP_TEXT("2"));
    // A new leading text puts it back in use.
    ASSERT_EQ(mFormatter.checkLeading(SP_TEXT("7"), 1, 1), 0);
    EXPECT_EQ(mFormatter.checkAdded(SP_TEXT("5"), 1, 1), 0);
}

TEST_F(NumberFormatterWithRules, ChecksStageCopiesOfTheGivenLength) {
    ASSERT_EQ(mFormatter.checkLeading(SP_TEXT("+4912"), 3, 0), 0);
    EXPECT_EQ(leadingOf(pending(0)), SP_TEXT("+49"));
    EXPECT_EQ(pending(0).mLeadingLength, 3);
    ASSERT_EQ(mFormatter.checkAdded(SP_TEXT("0044"), 2, 0), 0);
    EXPECT_EQ(addedOf(pending(0)), SP_TEXT("00"));
    EXPECT_EQ(pending(0).mAddedLength, 2);
    // One added character is recorded with length 0.
    ASSERT_EQ(mFormatter.checkAdded(SP_TEXT("9"), 1, 0), 0);
    EXPECT_EQ(addedOf(pending(0)), SP_TEXT("9"));
    EXPECT_EQ(pending(0).mAddedLength, 0);

    // A length beyond the text stops at its terminator: the block is exactly
    // as long as the text, so a read past it is caught by the address sanitizer.
    auto text = std::make_unique<sp_wchar_t[]>(3);
    text[0] = SP_TEXT('1');
    text[1] = SP_TEXT('2');
    ASSERT_EQ(mFormatter.checkLeading(text.get(), 17, 0), 0);
    ASSERT_EQ(mFormatter.checkAdded(text.get(), 9, 0), 0);
    EXPECT_EQ(leadingOf(pending(0)) + SP_TEXT("/") + addedOf(pending(0)), SP_TEXT("12/12"));
}

TEST_F(NumberFormatterWithRules, StagedRulesDoNotFormatUntilWrittenAndDiscardRestoresThem) {
    ASSERT_EQ(mFormatter.checkLeading(SP_TEXT("0"), 1, 1), 0);
    ASSERT_EQ(mFormatter.checkLeading(SP_TEXT("00"), 2, 0), 0);
    ASSERT_EQ(mFormatter.checkAdded(SP_TEXT("3"), 1, 0), 0);
    EXPECT_EQ(formatLong(mFormatter, SP_TEXT("0012345")), SP_TEXT("1012345"));
    EXPECT_EQ(leadingOf(committedRules()[0]), SP_TEXT("0"));

    mFormatter.discardChanges();
    EXPECT_EQ(leadingOf(pending(0)) + addedOf(pending(0)) + leadingOf(pending(1)), SP_TEXT("0100"));

    // Committing is writing the whole table.
    ASSERT_EQ(mFormatter.checkLeading(SP_TEXT("00"), 2, 0), 0);
    ASSERT_EQ(mFormatter.checkAdded(SP_TEXT("3"), 1, 0), 0);
    Settings staged{.rules = {mFormatter.pendingRules().begin(), mFormatter.pendingRules().end()}};
    ASSERT_EQ(apply(mFormatter, staged, NumberFormatter::kRulesBit), 0);
    EXPECT_EQ(formatLong(mFormatter, SP_TEXT("0012345")), SP_TEXT("312345"));
}

// Each row formats one number with a fresh formatter; a length of -1 means
// a long number whatever the short length, and a result of 0 is not checked.
TEST(NumberFormatterFormat, FormatsByTheTable) {
    DialRule wrongLengths = rule(SP_TEXT("12"), SP_TEXT("3"));
    wrongLengths.mLeadingLength = 9;
    wrongLengths.mAddedLength = 0;
    const Settings example{
        .rules = {rule(SP_TEXT("+44"), SP_TEXT("0"))}, .shortLength = 4, .prefix = SP_TEXT("9"), .removeZero = true};
    const Settings shortOnly{.rules = {rule(SP_TEXT("1"), SP_TEXT("77"))},
                             .shortLength = 50,
                             .prefix = SP_TEXT("9"),
                             .defaultDigits = SP_TEXT("0")};
    const Settings four{.shortLength = 4, .prefix = SP_TEXT("9")};
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
        {"example, long", example, SP_TEXT("+44 (0)20 7946-0000"), SP_TEXT("902079460000"), 19, 13},
        {"example, short", example, SP_TEXT("1234"), SP_TEXT("1234"), 4, 5},
        // The client's length chooses the form, not the text's own.
        {"short at the boundary", four, SP_TEXT("1234"), SP_TEXT("1234"), 4},
        {"long past the boundary", four, SP_TEXT("1234"), SP_TEXT("91234"), 5},
        {"long by the given length", four, SP_TEXT("12"), SP_TEXT("912"), 10},
        {"length 0 is short", four, SP_TEXT("123456"), SP_TEXT("123456"), 0},
        // The short form keeps dial characters only; no rule, prefix or
        // default digits apply.
        {"short: pauses dropped", shortOnly, SP_TEXT("PW123"), SP_TEXT("123"), 5, 4},
        {"short: inner pause", shortOnly, SP_TEXT("1P2"), SP_TEXT("1P2"), 3, 4},
        {"short: wait becomes pause", shortOnly, SP_TEXT("1W2"), SP_TEXT("1P2"), 3, 4},
        {"short: punctuation", shortOnly, SP_TEXT("+1 (234) 5-6"), SP_TEXT("123456"), 12, 7},
        {"short: star and hash", shortOnly, SP_TEXT("*#0"), SP_TEXT("*#0"), 3, 4},
        {"short: lower case pauses", shortOnly, SP_TEXT("pw1"), SP_TEXT("1"), 3, 2},
        {"short: trailing plus", shortOnly, SP_TEXT("12+"), SP_TEXT("12"), 3, 3},
        {"short: other digit sets", shortOnly, SP_TEXT("\u0661\uFF12"), SP_TEXT(""), 2, 1},
        {"short: white space", shortOnly, SP_TEXT("1\u00A02\t3\n4"), SP_TEXT("1234"), 7, 5},
        // Before any variable is set.
        {"nothing set, short", {}, SP_TEXT("1 2"), SP_TEXT("12"), 0},
        {"nothing set, long", {}, SP_TEXT("+49 (0) 1"), SP_TEXT("4901"), 9},
        // The long form: rules, default digits and prefix.
        {"first match wins",
         {.rules = {rule(SP_TEXT("0"), SP_TEXT("1")), rule(SP_TEXT("00"), SP_TEXT("2"))}},
         SP_TEXT("0012345"),
         SP_TEXT("1012345")},
        {"first match, reversed",
         {.rules = {rule(SP_TEXT("00"), SP_TEXT("2")), rule(SP_TEXT("0"), SP_TEXT("1"))}},
         SP_TEXT("0012345"),
         SP_TEXT("212345")},
        {"empty enabled rule",
         {.rules = {rule(SP_TEXT(""), SP_TEXT("55")), rule(SP_TEXT("1"), SP_TEXT("0"))}},
         SP_TEXT("12345"),
         SP_TEXT("5512345")},
        {"empty rule, empty number",
         {.rules = {rule(SP_TEXT(""), SP_TEXT("55"))}, .defaultDigits = SP_TEXT("8")},
         SP_TEXT(""),
         SP_TEXT("55")},
        {"disabled rule skipped",
         {.rules = {rule(SP_TEXT("12"), SP_TEXT("0"), false)}, .defaultDigits = SP_TEXT("8")},
         SP_TEXT("12345"),
         SP_TEXT("812345")},
        {"later rule",
         {.rules = {rule(SP_TEXT("12"), SP_TEXT("0"), false), rule(SP_TEXT("99"), SP_TEXT("4"))}},
         SP_TEXT("99345"),
         SP_TEXT("4345")},
        {"prefix after a rule",
         {.rules = {rule(SP_TEXT("0"), SP_TEXT(""))}, .prefix = SP_TEXT("00")},
         SP_TEXT("0123"),
         SP_TEXT("00123")},
        {"prefix and default digits",
         {.prefix = SP_TEXT("00"), .defaultDigits = SP_TEXT("7")},
         SP_TEXT("123"),
         SP_TEXT("007123")},
        {"plus seen by the rules",
         {.rules = {rule(SP_TEXT("+49"), SP_TEXT("0"))}},
         SP_TEXT("+49 30 1234"),
         SP_TEXT("0301234")},
        {"plus never dialled", {}, SP_TEXT("+1 555 0100"), SP_TEXT("15550100")},
        {"inner plus", {}, SP_TEXT("49+30"), SP_TEXT("4930")},
        {"zero kept",
         {.rules = {rule(SP_TEXT("+44"), SP_TEXT("0"))}, .prefix = SP_TEXT("9")},
         SP_TEXT("+44 (0)20 7946-0000"),
         SP_TEXT("9002079460000")},
        {"only (0) removed",
         {.rules = {rule(SP_TEXT("+44"), SP_TEXT("0"))}, .removeZero = true},
         SP_TEXT("+44 (01)20"),
         SP_TEXT("00120")},
        {"leading wait dropped", {}, SP_TEXT("W12345"), SP_TEXT("12345")},
        {"pauses stripped, inner wait", {}, SP_TEXT("PP+12W3"), SP_TEXT("12P3")},
        {"wait behind the prefix", {.prefix = SP_TEXT("9")}, SP_TEXT("W12345"), SP_TEXT("9P12345")},
        // The prefix comes after the wait step: its P is stripped, its W stays.
        {"prefix of pauses", {.prefix = SP_TEXT("PW")}, SP_TEXT("123"), SP_TEXT("W123")},
        {"number shorter than the rule",
         {.rules = {rule(SP_TEXT("12345"), SP_TEXT("0"))}},
         SP_TEXT("1234"),
         SP_TEXT("1234")},
        {"number as long as the rule",
         {.rules = {rule(SP_TEXT("12345"), SP_TEXT("0"))}},
         SP_TEXT("12345"),
         SP_TEXT("0")},
        // Rule texts count to their terminator, not their length fields.
        {"wrong length fields", {.rules = {wrongLengths}}, SP_TEXT("12999"), SP_TEXT("3999")},
        // 17 leading, 9 added and 8 prefix characters leave no terminator.
        {"full fields",
         {.rules = {rule(SP_TEXT("12345678901234567"), SP_TEXT("987654321"))}, .prefix = SP_TEXT("87654321")},
         SP_TEXT("12345678901234567890"),
         SP_TEXT("87654321987654321890")},
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
        const Formatted formatted =
            c.length < 0 ? Formatted{0, formatLong(formatter, c.number)} : format(formatter, c.number, c.length);
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
    EXPECT_EQ(formatter.formatNumber(SP_TEXT("123"), -1, &out), -1);
    EXPECT_EQ(out, &sentinel);
    EXPECT_EQ(formatter.formatNumber(SP_TEXT("123"), 3, nullptr), -1);
}

TEST(NumberFormatterFormat, LongTextsAreFormattedWhole) {
    Text number;
    for (int i = 0; i < 5000; ++i) number += SP_TEXT("12 ");
    NumberFormatter formatter;
    apply(formatter, {.rules = {rule(SP_TEXT("1212"), SP_TEXT("0"))}, .prefix = SP_TEXT("9")});
    const Text formatted = formatLong(formatter, number);
    EXPECT_EQ(formatted.size(), 10000u - 4u + 2u);
    EXPECT_EQ(formatted.substr(0, 4), SP_TEXT("9012"));
}
