// The number exports as a client calls them, through the loaded library and
// without initialize.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "sim/softphone_library.h"
#include "softphone.h"

namespace {

using Text = std::u16string;

template <std::size_t N>
void fill(sp_wchar_t (&field)[N], const Text& text) {
    for (std::size_t i = 0; i < N; ++i) field[i] = i < text.size() ? text[i] : 0;
}

DialRule rule(const Text& leading, const Text& added, bool enabled = true) {
    DialRule r{};
    fill(r.mLeading, leading);
    r.mLeadingLength = static_cast<int32_t>(leading.size());
    fill(r.mAdded, added);
    r.mAddedLength = static_cast<int32_t>(added.size());
    r.mEnabled = enabled ? 1 : 0;
    return r;
}

ModuleVariables variables(std::vector<DialRule>& rules, int shortLength, const Text& prefix, bool removeZero) {
    ModuleVariables v{};
    v.mRules = rules.data();
    v.mRuleCount = static_cast<int32_t>(rules.size());
    v.mShortLength = shortLength;
    fill(v.mPrefix, prefix);
    v.mPrefixLength = static_cast<int32_t>(prefix.size());
    v.mRemoveZero = removeZero ? 1 : 0;
    return v;
}

class NumberFormatterExports : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(mLibrary.load(SOFTPHONE_LIBRARY_PATH)) << mLibrary.error(); }

    const sim::SoftphoneApi& api() const { return mLibrary.api(); }

    // Writes every variable: the formatter lives on between tests.
    void configure(std::vector<DialRule> rules, int shortLength, const Text& prefix, bool removeZero) {
        mRules = std::move(rules);
        ModuleVariables v = variables(mRules, shortLength, prefix, removeZero);
        ASSERT_EQ(api().set_module_variable(&v, -1), 0);
    }

    Text format(const Text& number, int length) {
        sp_wchar_t* out = nullptr;
        const int result = api().get_formatted_number(number.c_str(), length, &out);
        if (out == nullptr) return u"<no result>";
        const Text text(out);
        EXPECT_EQ(result, static_cast<int>(text.size()) + 1);
        return text;
    }

    sim::SoftphoneLibrary mLibrary;
    std::vector<DialRule> mRules;
};

// Runs in a process of its own: 0 when every number export reports the
// missing object as the client table says.
int exportsBeforeTheFirstSet() {
    sim::SoftphoneLibrary library;
    if (!library.load(SOFTPHONE_LIBRARY_PATH)) {
        std::fprintf(stderr, "load: %s\n", library.error().c_str());
        return 1;
    }
    const sim::SoftphoneApi& api = library.api();
    ModuleVariables v{};
    sp_wchar_t* out = nullptr;
    int failures = 0;
    failures += api.get_module_variable(&v, -1) != -1;
    failures += api.check_leading(u"1", 1, 0) != -1;
    failures += api.check_added(u"1", 1, -1) != -1;
    failures += api.get_formatted_number(u"1", 1, &out) != -1 || out != nullptr;
    api.discard_changes();
    // The first set creates the object; reads work from then on.
    failures += api.set_module_variable(&v, 0) != 0;
    failures += api.get_module_variable(&v, -1) != 0;
    failures += api.check_added(u"1", 1, -1) != 0;
    return failures;
}

}  // namespace

TEST(NumberFormatterFirstUse, ExportsFindNoObjectBeforeTheFirstSet) {
    // A fresh process, so no earlier test has made the formatter already.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::exit(exportsBeforeTheFirstSet()), ::testing::ExitedWithCode(0), "");
}

TEST_F(NumberFormatterExports, FormatTheWorkedExample) {
    configure({rule(u"+44", u"0")}, 4, u"9", true);
    EXPECT_EQ(format(u"+44 (0)20 7946-0000", 19), u"902079460000");
    EXPECT_EQ(format(u"1234", 4), u"1234");
}

TEST_F(NumberFormatterExports, FormatTheEdgeCases) {
    configure({rule(u"0", u"1"), rule(u"00", u"2")}, 4, u"", false);
    EXPECT_EQ(format(u"PW123", 5), u"123");
    EXPECT_EQ(format(u"1P2", 3), u"1P2");
    EXPECT_EQ(format(u"1W2", 3), u"1P2");
    EXPECT_EQ(format(u"0012", 4), u"0012");
    EXPECT_EQ(format(u"00123", 5), u"10123");
    EXPECT_EQ(format(u"-- --", 5), u"");

    configure({rule(u"", u"55")}, 0, u"", false);
    EXPECT_EQ(format(u"123", 3), u"55123");

    configure({rule(u"+44", u"0")}, 0, u"9", false);
    EXPECT_EQ(format(u"+44 (0)20", 9), u"90020");
}

TEST_F(NumberFormatterExports, CheckStageAndDiscard) {
    configure({rule(u"0", u"1"), rule(u"00", u"2")}, 0, u"", false);
    EXPECT_EQ(api().check_leading(u"+", 1, 0), 0);
    EXPECT_EQ(api().check_leading(u"+49", 3, 0), 0);
    EXPECT_EQ(api().check_leading(u"0", 1, 0), 0);
    EXPECT_EQ(api().check_leading(u"", 1, 0), 2);
    EXPECT_EQ(api().check_leading(u"12+3", 4, 0), 2);
    EXPECT_EQ(api().check_leading(u"1", 1, 2), -1);
    EXPECT_EQ(api().check_added(u"", 0, -1), 0);
    EXPECT_EQ(api().check_added(u"12a", 3, -1), 4);
    EXPECT_EQ(api().check_added(u"1", 10, 0), -1);

    EXPECT_EQ(api().check_leading(u"", 0, 1), 0);
    EXPECT_EQ(api().check_added(u"3", 1, 1), 8);
    // Staged, not committed: formatting and reads still see the old table.
    EXPECT_EQ(format(u"00123", 5), u"10123");
    api().discard_changes();
    EXPECT_EQ(api().check_added(u"3", 1, 1), 0);
}

TEST_F(NumberFormatterExports, ReadTheTableInTwoSteps) {
    configure({rule(u"0", u"1"), rule(u"+49", u"0", false)}, 7, u"9", true);
    ModuleVariables v{};
    ASSERT_EQ(api().get_module_variable(&v, -1), 0);
    EXPECT_EQ(v.mRuleCount, 2);
    EXPECT_EQ(v.mRules, nullptr);
    EXPECT_EQ(v.mShortLength, 7);
    EXPECT_EQ(v.mPrefixLength, 1);
    EXPECT_EQ(v.mPrefix[0], u'9');
    EXPECT_EQ(v.mRemoveZero, 1);

    std::vector<DialRule> rules(static_cast<std::size_t>(v.mRuleCount));
    v.mRules = rules.data();
    ASSERT_EQ(api().get_module_variable(&v, 0x01), 0);
    EXPECT_EQ(Text(rules[1].mLeading), u"+49");
    EXPECT_EQ(rules[1].mEnabled, 0);
}

TEST_F(NumberFormatterExports, RefuseDefaultDigitsWith0x20) {
    configure({rule(u"1", u"2")}, 0, u"", false);
    ModuleVariables v{};
    fill(v.mDefaultDigits, u"12a");
    v.mDefaultDigitsLength = 3;
    EXPECT_EQ(api().set_module_variable(&v, 0x20), 0x20);
    v.mDefaultDigitsLength = 10;
    EXPECT_EQ(api().set_module_variable(&v, 0x20), 0x20);
    fill(v.mDefaultDigits, u"0");
    v.mDefaultDigitsLength = 1;
    EXPECT_EQ(api().set_module_variable(&v, 0x20), 0);
    EXPECT_EQ(format(u"555", 3), u"0555");
    v.mDefaultDigitsLength = 0;
    EXPECT_EQ(api().set_module_variable(&v, 0x20), 0);
}

TEST_F(NumberFormatterExports, SurviveBadInput) {
    configure({rule(u"1", u"2")}, 0, u"", false);
    EXPECT_EQ(api().set_module_variable(nullptr, -1), -1);
    EXPECT_EQ(api().get_module_variable(nullptr, -1), -1);
    EXPECT_EQ(api().check_leading(nullptr, 1, 0), -1);
    EXPECT_EQ(api().check_added(nullptr, 1, 0), -1);
    EXPECT_EQ(api().check_leading(u"1", 1, -5), -1);
    EXPECT_EQ(api().check_added(u"1", 1, 99), -1);
    EXPECT_EQ(api().check_leading(u"1", 1 << 30, 0), -1);
    EXPECT_EQ(api().check_leading(u"1", 15, 0), 0);
    EXPECT_EQ(api().check_leading(u"1234567890123456789012345", 17, 0), 0);
    EXPECT_EQ(api().check_added(u"1234567890123", 9, 0), 0);
    sp_wchar_t* out = nullptr;
    EXPECT_EQ(api().get_formatted_number(nullptr, 3, &out), -1);
    EXPECT_EQ(api().get_formatted_number(u"123", -1, &out), -1);
    EXPECT_EQ(api().get_formatted_number(u"123", 3, nullptr), -1);
    EXPECT_EQ(out, nullptr);
    // A table count of zero or a null table changes nothing.
    ModuleVariables v{};
    v.mRuleCount = 3;
    EXPECT_EQ(api().set_module_variable(&v, 0x01), 0);
    ASSERT_EQ(api().get_module_variable(&v, 0x01), 0);
    EXPECT_EQ(v.mRuleCount, 1);
}
