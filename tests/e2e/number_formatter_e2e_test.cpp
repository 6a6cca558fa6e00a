// The number exports as a client calls them, through the loaded library and
// without initialize. What each does is proven by the formatter's own tests;
// this shows that the exports reach it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "sim/softphone_library.h"
#include "softphone.h"
#include "tests/support_files/wide_text.h"

namespace {

// Runs in a process of its own, so no earlier test has made the formatter:
// the reads find no object before the first set, and work once it has made
// one. Gives the number of failed checks.
int exportsBeforeAndAfterTheFirstSet() {
    sim::SoftphoneLibrary library;
    if (!library.load(SOFTPHONE_LIBRARY_PATH)) return 100;
    const sim::SoftphoneApi& api = library.api();
    ModuleVariables v{};
    sp_wchar_t* out = nullptr;
    int failures = 0;
    failures += api.get_module_variable(&v, -1) != -1;
    failures += api.get_formatted_number(SP_TEXT("1"), 1, &out) != -1 || out != nullptr;

    DialRule rule{
        .mLeading = SP_TEXT("+44"), .mLeadingLength = 3, .mAdded = SP_TEXT("0"), .mAddedLength = 1, .mEnabled = 1};
    v.mRules = &rule;
    v.mRuleCount = 1;
    v.mShortLength = 4;
    v.mPrefix[0] = SP_TEXT('9');
    v.mPrefixLength = 1;
    v.mRemoveZero = 1;
    failures += api.set_module_variable(&v, -1) != 0;
    failures += api.get_formatted_number(SP_TEXT("+44 (0)20 7946-0000"), 19, &out) != 13;
    failures += out == nullptr || WideText(out) != SP_TEXT("902079460000");
    failures += api.get_formatted_number(SP_TEXT("1234"), 4, &out) != 5 || WideText(out) != SP_TEXT("1234");

    // Taking the rule out of use is staged until discarded.
    failures += api.check_leading(SP_TEXT(""), 0, 0) != 0;
    failures += api.check_added(SP_TEXT("3"), 1, 0) != 8;
    api.discard_changes();
    failures += api.check_added(SP_TEXT("3"), 1, 0) != 0;

    ModuleVariables read{};
    failures += api.get_module_variable(&read, -1) != 0;
    failures += read.mRuleCount != 1 || read.mRules != nullptr || read.mShortLength != 4;
    return failures;
}

}  // namespace

TEST(NumberFormatterExports, FindNoObjectBeforeTheFirstSetThenSetCheckAndFormat) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::exit(exportsBeforeAndAfterTheFirstSet()), ::testing::ExitedWithCode(0), "");
}
