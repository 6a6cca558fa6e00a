// Test helpers: the number formatter's records as a client fills them.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "softphone.h"

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

}  // namespace nf_test
