// The number exports as a client calls them, through the loaded library and
// without initialize. What each does is proven by the formatter's own tests;
// these show that the exports reach it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "sim/softphone_library.h"
#include "softphone.h"
#include "tests/support/number_formatter_records.h"

namespace {

using nf_test::Text;

// Runs in a process of its own: 0 when the reads find no object before the
// first set, and work once it has made one.
int exportsBeforeAndAfterTheFirstSet() {
    sim::SoftphoneLibrary library;
    if (!library.load(SOFTPHONE_LIBRARY_PATH)) return 100;
    const sim::SoftphoneApi& api = library.api();
    ModuleVariables v{};
    sp_wchar_t* out = nullptr;
    int failures = 0;
    failures += api.get_module_variable(&v, -1) != -1;
    failures += api.get_formatted_number(u"1", 1, &out) != -1 || out != nullptr;
    failures += api.set_module_variable(&v, 0) != 0;
    failures += api.get_module_variable(&v, -1) != 0;
    return failures;
}

}  // namespace

TEST(NumberFormatterFirstUse, ExportsFindNoObjectBeforeTheFirstSet) {
    // A fresh process, so no earlier test has made the formatter already.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::exit(exportsBeforeAndAfterTheFirstSet()), ::testing::ExitedWithCode(0), "");
}

TEST(NumberFormatterExports, ClientSetsChecksAndFormats) {
    sim::SoftphoneLibrary library;
    ASSERT_TRUE(library.load(SOFTPHONE_LIBRARY_PATH)) << library.error();
    const sim::SoftphoneApi& api = library.api();
    nf_test::Settings settings{
        .rules = {nf_test::rule(u"+44", u"0")}, .shortLength = 4, .prefix = u"9", .removeZero = true};
    ModuleVariables v = nf_test::record(settings);
    ASSERT_EQ(api.set_module_variable(&v, -1), 0);

    sp_wchar_t* out = nullptr;
    EXPECT_EQ(api.get_formatted_number(u"+44 (0)20 7946-0000", 19, &out), 13);
    EXPECT_EQ(Text(out), u"902079460000");
    EXPECT_EQ(api.get_formatted_number(u"1234", 4, &out), 5);
    EXPECT_EQ(Text(out), u"1234");

    // Taking the rule out of use is staged until discarded.
    EXPECT_EQ(api.check_leading(u"", 0, 0), 0);
    EXPECT_EQ(api.check_added(u"3", 1, 0), 8);
    api.discard_changes();
    EXPECT_EQ(api.check_added(u"3", 1, 0), 0);

    ModuleVariables read{};
    ASSERT_EQ(api.get_module_variable(&read, -1), 0);
    EXPECT_EQ(read.mRuleCount, 1);
    EXPECT_EQ(read.mRules, nullptr);
    EXPECT_EQ(read.mShortLength, 4);
}
