// Test helpers: records of the number formatter as a client fills them.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "softphone.h"
#include "support/number_formatter.h"

namespace nf_test {

// sp_wchar_t is char16_t on the platforms the tests run on.
using Text = std::u16string;

template <std::size_t N>
void fill(sp_wchar_t (&field)[N], std::u16string_view text) {
    std::fill(field, field + N, sp_wchar_t{0});
    std::copy_n(text.begin(), std::min(text.size(), N), field);
}

inline DialRule rule(std::u16string_view leading, std::u16string_view added, bool enabled = true) {
    DialRule r{};
    fill(r.mLeading, leading);
    r.mLeadingLength = static_cast<int32_t>(leading.size());
    fill(r.mAdded, added);
    r.mAddedLength = static_cast<int32_t>(added.size());
    r.mEnabled = enabled ? 1 : 0;
    return r;
}

// What a client sets in one go; written with mask -1.
struct Settings {
    std::vector<DialRule> rules{};
    int shortLength = 0;
    Text prefix{};
    bool removeZero = false;
    Text defaultDigits{};
    std::uint8_t storedFlag = 0;
};

inline ModuleVariables record(Settings& settings) {
    ModuleVariables v{};
    v.mRules = settings.rules.empty() ? nullptr : settings.rules.data();
    v.mRuleCount = static_cast<int32_t>(settings.rules.size());
    v.mShortLength = settings.shortLength;
    v.mStoredFlag = settings.storedFlag;
    fill(v.mPrefix, settings.prefix);
    v.mPrefixLength = static_cast<int32_t>(settings.prefix.size());
    fill(v.mDefaultDigits, settings.defaultDigits);
    v.mDefaultDigitsLength = static_cast<int32_t>(settings.defaultDigits.size());
    v.mRemoveZero = settings.removeZero ? 1 : 0;
    return v;
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
inline Formatted formatLong(NumberFormatter& formatter, const Text& number) {
    return format(formatter, number, 100);
}

inline Text leadingOf(const DialRule& r) {
    return Text(r.mLeading, r.mLeading + 17).c_str();
}
inline Text addedOf(const DialRule& r) {
    return Text(r.mAdded, r.mAdded + 9).c_str();
}

// For failure messages: the text with every unit cut to a byte.
inline std::string narrow(const sp_wchar_t* text) {
    if (text == nullptr) return "(null)";
    std::string out;
    for (; *text != 0; ++text) out.push_back(static_cast<char>(*text));
    return out;
}

}  // namespace nf_test
