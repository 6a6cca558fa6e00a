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

class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : mData(data), mSize(size) {}

    std::uint8_t byte() { return mAt < mSize ? mData[mAt++] : 0; }
    sp_wchar_t unit() {
        const std::uint8_t low = byte();
        const std::uint8_t high = byte();
        return static_cast<sp_wchar_t>(low | (high << 8));
    }

    // Up to `count` units into a fixed field, leaving the rest zero.
    template <std::size_t N>
    void field(sp_wchar_t (&target)[N], std::size_t count) {
        for (std::size_t i = 0; i < N; ++i) target[i] = i < count ? unit() : 0;
    }

    // The rest as a zero-terminated text.
    std::basic_string<sp_wchar_t> rest() {
        std::basic_string<sp_wchar_t> text;
        while (mAt + 1 < mSize) {
            const sp_wchar_t u = unit();
            if (u != 0) text.push_back(u);
        }
        return text;
    }

private:
    const std::uint8_t* mData;
    std::size_t mSize;
    std::size_t mAt = 0;
};

void checkFormatted(NumberFormatter& formatter, const std::basic_string<sp_wchar_t>& number, int length) {
    sp_wchar_t* out = nullptr;
    const int result = formatter.formatNumber(number.c_str(), length, &out);
    if (result < 0) {
        if (length >= 0) std::abort();
        return;
    }
    const std::basic_string<sp_wchar_t> text(out);
    if (static_cast<std::size_t>(result) != text.size() + 1) std::abort();
    if (!text.empty() && text[0] == u'P') std::abort();
    if (text.find(u'+') != std::basic_string<sp_wchar_t>::npos) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    NumberFormatter formatter;

    std::vector<DialRule> rules(in.byte() % 5);
    for (DialRule& rule : rules) {
        in.field(rule.mLeading, in.byte() % 18);
        in.field(rule.mAdded, in.byte() % 10);
        rule.mEnabled = in.byte() & 1;
    }
    ModuleVariables variables{};
    variables.mRules = rules.data();
    variables.mRuleCount = static_cast<std::int32_t>(rules.size());
    variables.mShortLength = static_cast<std::int8_t>(in.byte());
    variables.mRemoveZero = in.byte() & 1;
    variables.mPrefixLength = in.byte() % 10 - 1;
    in.field(variables.mPrefix, in.byte() % 9);
    variables.mDefaultDigitsLength = in.byte() % 12 - 1;
    in.field(variables.mDefaultDigits, in.byte() % 10);
    formatter.setModuleVariables(&variables, static_cast<std::int8_t>(in.byte()));

    const int checkLength = in.byte() % 20 - 1;
    const int rule = in.byte() % 7 - 2;
    const int length = static_cast<std::int8_t>(in.byte());
    const std::basic_string<sp_wchar_t> number = in.rest();

    formatter.checkLeading(number.c_str(), checkLength, rule);
    formatter.checkAdded(number.c_str(), checkLength, rule);
    checkFormatted(formatter, number, length);
    formatter.discardChanges();

    ModuleVariables readBack{};
    std::vector<DialRule> table(rules.size());
    readBack.mRules = table.empty() ? nullptr : table.data();
    formatter.getModuleVariables(&readBack, -1);
    if (readBack.mPrefixLength < 0 || readBack.mPrefixLength > NumberFormatter::kPrefixCapacity) std::abort();
    if (readBack.mDefaultDigitsLength < 0 || readBack.mDefaultDigitsLength > NumberFormatter::kDefaultDigitsCapacity) {
        std::abort();
    }
    return 0;
}
