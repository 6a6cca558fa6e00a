// Drives the number formatter with arbitrary settings, checks and numbers.
// Every call must come back without a fault, and a formatted number never
// holds a "+" nor begins with a pause.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/number_formatter.h"

namespace {

using Utf16 = std::basic_string<sp_wchar_t>;

void check(bool condition) {
    if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::size_t at = 0;
    const auto byte = [&]() -> std::uint8_t { return at < size ? data[at++] : 0; };
    const auto unit = [&] {
        const std::uint8_t low = byte();  // sequenced: the low byte comes first
        return static_cast<sp_wchar_t>(low | (byte() << 8));
    };
    // Up to `count` units into a fixed field, leaving the rest zero.
    const auto field = [&](auto& target, std::size_t count) {
        for (std::size_t i = 0; i < std::size(target); ++i) target[i] = i < count ? unit() : 0;
    };
    NumberFormatter formatter;

    std::vector<DialRule> rules(byte() % 5);
    for (DialRule& rule : rules) {
        field(rule.mLeading, byte() % 18);
        field(rule.mAdded, byte() % 10);
        rule.mEnabled = byte() & 1;
    }
    ModuleVariables variables{};
    variables.mRules = rules.data();
    variables.mRuleCount = static_cast<std::int32_t>(rules.size());
    variables.mShortLength = static_cast<std::int8_t>(byte());
    variables.mRemoveZero = byte() & 1;
    variables.mPrefixLength = byte() % 10 - 1;
    field(variables.mPrefix, byte() % 9);
    variables.mDefaultDigitsLength = byte() % 12 - 1;
    field(variables.mDefaultDigits, byte() % 10);
    formatter.setModuleVariables(&variables, static_cast<std::int8_t>(byte()));

    const int checkLength = byte() % 20 - 1;
    const int rule = byte() % 7 - 2;
    const int length = static_cast<std::int8_t>(byte());
    Utf16 number;  // the rest, zero-terminated
    while (at + 1 < size) {
        if (const sp_wchar_t u = unit(); u != 0) number.push_back(u);
    }

    formatter.checkLeading(number.c_str(), checkLength, rule);
    formatter.checkAdded(number.c_str(), checkLength, rule);
    sp_wchar_t* out = nullptr;
    const int result = formatter.formatNumber(number.c_str(), length, &out);
    check((result < 0) == (length < 0));
    if (result >= 0) {
        const Utf16 text(out);
        check(static_cast<std::size_t>(result) == text.size() + 1);
        check(text.empty() || text[0] != u'P');
        check(text.find(u'+') == Utf16::npos);
    }
    formatter.discardChanges();

    ModuleVariables readBack{};
    std::vector<DialRule> table(rules.size());
    readBack.mRules = table.empty() ? nullptr : table.data();
    formatter.getModuleVariables(&readBack, -1);
    check(readBack.mPrefixLength >= 0 && readBack.mPrefixLength <= NumberFormatter::kPrefixCapacity);
    check(readBack.mDefaultDigitsLength >= 0 &&
          readBack.mDefaultDigitsLength <= NumberFormatter::kDefaultDigitsCapacity);
    return 0;
}
