#include "support/number_formatter.h"

#include <algorithm>
#include <climits>

#include "support/number_formatter_text.h"

using number_text::fieldLength;
using number_text::fieldText;
using number_text::terminatedLength;
using number_text::toUtf16;
using number_text::toWide;

namespace {

// Clears a fixed field and copies `count` characters into it.
void copyText(sp_wchar_t* field, std::size_t capacity, const sp_wchar_t* source, std::size_t count) {
    std::fill_n(field, capacity, sp_wchar_t{0});
    std::copy_n(source, std::min(count, capacity), field);
}

}  // namespace

NumberFormatter::NumberFormatter()
    : mLeadingPattern(L"(^[+][0-9]*)$|(^[0-9]+)$"),
      mAddedPattern(L"(^[0-9]*)$"),
      mAllowedPattern(L"[0-9+*#PW]"),
      mPlusPattern(L"[+]"),
      mZeroPattern(L"[(][0][)]"),
      mWaitPattern(L"W") {}

// ---- Variables ----

int NumberFormatter::setModuleVariables(const ModuleVariables* record, int mask) {
    if (record == nullptr) return kNoRecord;
    // -1 has every bit set, so it writes all six like the bits one by one.
    int result = 0;
    if ((mask & kRulesBit) != 0) setRules(record->mRules, record->mRuleCount);
    if ((mask & kShortLengthBit) != 0) mShortLength = record->mShortLength;
    if ((mask & kStoredFlagBit) != 0) mStoredFlag = record->mStoredFlag;
    if ((mask & kPrefixBit) != 0 && record->mPrefixLength >= 0 && record->mPrefixLength <= kPrefixCapacity) {
        copyText(mPrefix.data(), mPrefix.size(), record->mPrefix, static_cast<std::size_t>(record->mPrefixLength));
        mPrefixLength = record->mPrefixLength;
    }
    if ((mask & kRemoveZeroBit) != 0) mRemoveZero = record->mRemoveZero;
    if ((mask & kDefaultDigitsBit) != 0) result = setDefaultDigits(*record);
    return result;
}

void NumberFormatter::setRules(const DialRule* rules, int count) {
    if (rules == nullptr || count < 1 || count > kMaxRuleCount) return;
    mRules.assign(rules, rules + count);
    // A new table drops whatever was staged.
    mPendingRules = mRules;
}

int NumberFormatter::setDefaultDigits(const ModuleVariables& record) {
    const int length = record.mDefaultDigitsLength;
    if (length < 0 || length > kDefaultDigitsCapacity) return kDefaultDigitsRefused;
    if (!matchesWhole(fieldText(record.mDefaultDigits), mAddedPattern)) return kDefaultDigitsRefused;
    copyText(mDefaultDigits.data(), mDefaultDigits.size(), record.mDefaultDigits, static_cast<std::size_t>(length));
    mDefaultDigitsLength = length;
    return 0;
}

int NumberFormatter::getModuleVariables(ModuleVariables* record, int mask) const {
    if (record == nullptr) return kNoRecord;
    if ((mask & kRulesBit) != 0) {
        record->mRuleCount = static_cast<std::int32_t>(mRules.size());
        // The client reads in two steps: the count with a null pointer, then
        // the table into an array of that many entries.
        if (record->mRules != nullptr) std::copy(mRules.begin(), mRules.end(), record->mRules);
    }
    if ((mask & kShortLengthBit) != 0) record->mShortLength = mShortLength;
    if ((mask & kStoredFlagBit) != 0) record->mStoredFlag = mStoredFlag;
    if ((mask & kPrefixBit) != 0) {
        copyText(record->mPrefix, kPrefixCapacity, mPrefix.data(), static_cast<std::size_t>(mPrefixLength));
        record->mPrefixLength = mPrefixLength;
    }
    if ((mask & kRemoveZeroBit) != 0) record->mRemoveZero = mRemoveZero;
    if ((mask & kDefaultDigitsBit) != 0) {
        copyText(record->mDefaultDigits, kDefaultDigitsCapacity, mDefaultDigits.data(),
                 static_cast<std::size_t>(mDefaultDigitsLength));
        record->mDefaultDigitsLength = mDefaultDigitsLength;
    }
    return 0;
}

// ---- Checks and staging ----

bool NumberFormatter::isRuleIndex(int rule) const {
    return rule >= 0 && static_cast<std::size_t>(rule) < mPendingRules.size();
}

bool NumberFormatter::matchesWhole(const std::wstring& text, const boost::wregex& pattern) const {
    // By default ^ and $ also match at line breaks inside the text, so
    // "12a\n34" would pass; the anchors must hold for the whole text.
    return boost::regex_search(text, pattern, boost::match_single_line);
}

int NumberFormatter::checkLeading(const sp_wchar_t* text, int length, int rule) {
    if (text == nullptr || length < 0 || length > kLeadingCapacity || !isRuleIndex(rule)) return kCheckInvalid;
    DialRule& entry = mPendingRules[static_cast<std::size_t>(rule)];
    if (length == 0) {
        // An empty leading text takes the rule out of use.
        copyText(entry.mLeading, kLeadingCapacity, text, 0);
        entry.mLeadingLength = 0;
        entry.mEnabled = 0;
        return kCheckStaged;
    }
    const std::size_t textLength = terminatedLength(text);
    if (!matchesWhole(toWide(text, textLength), mLeadingPattern)) return kLeadingNotMatched;
    // A length beyond the text must not read past the client's buffer: the
    // copy stops at the terminator.
    copyText(entry.mLeading, kLeadingCapacity, text, std::min(static_cast<std::size_t>(length), textLength));
    entry.mLeadingLength = length;
    entry.mEnabled = 1;
    return kCheckStaged;
}

int NumberFormatter::checkAdded(const sp_wchar_t* text, int length, int rule) {
    if (text == nullptr || length < 0 || length > kAddedCapacity || (rule != kNoRule && !isRuleIndex(rule))) {
        return kCheckInvalid;
    }
    const std::size_t textLength = terminatedLength(text);
    if (!matchesWhole(toWide(text, textLength), mAddedPattern)) return kAddedNotMatched;
    if (rule == kNoRule) return kCheckStaged;  // default digits: validated, stored nowhere
    DialRule& entry = mPendingRules[static_cast<std::size_t>(rule)];
    // Added digits belong to a rule with a leading text.
    if (entry.mEnabled == 0) return kRuleNotInUse;
    copyText(entry.mAdded, kAddedCapacity, text, std::min(static_cast<std::size_t>(length), textLength));
    // The client's records hold a one-character text with length 0; the
    // formatting reads the text to its terminator, never this field.
    entry.mAddedLength = length == 1 ? 0 : length;
    return kCheckStaged;
}

void NumberFormatter::discardChanges() {
    mPendingRules = mRules;
}

// ---- Formatting ----

int NumberFormatter::formatNumber(const sp_wchar_t* text, int length, sp_wchar_t** out) {
    if (text == nullptr || length < 0 || out == nullptr) return -1;
    mResult.clear();
    const std::wstring number = number_text::terminatedText(text);
    mResult = toUtf16(length > mShortLength ? longForm(number) : shortForm(number));
    *out = mResult.data();
    return static_cast<int>(std::min<std::size_t>(mResult.size(), INT_MAX - 1)) + 1;
}

std::wstring NumberFormatter::shortForm(const std::wstring& number) const {
    std::wstring result = keepAllowed(number);
    result = removeAll(result, mPlusPattern);
    result = waitsToPauses(result);
    stripLeadingPauses(result);
    return result;
}

std::wstring NumberFormatter::longForm(const std::wstring& number) const {
    // "(0)" goes before the characters are filtered, which would leave its
    // zero behind.
    std::wstring result = mRemoveZero != 0 ? removeAll(number, mZeroPattern) : number;
    result = keepAllowed(result);
    result = waitsToPauses(result);
    const bool matched = applyFirstMatchingRule(result);
    if (!matched && mDefaultDigitsLength > 0) {
        result.insert(0, toWide(mDefaultDigits.data(),
                                fieldLength(mDefaultDigits.data(), static_cast<std::size_t>(mDefaultDigitsLength))));
    }
    if (mPrefixLength > 0) {
        result.insert(0, toWide(mPrefix.data(), fieldLength(mPrefix.data(), static_cast<std::size_t>(mPrefixLength))));
    }
    // The "+" stays until the rules have seen it, so that a rule for "+49"
    // can match; it never reaches the dialled digits.
    result = removeAll(result, mPlusPattern);
    stripLeadingPauses(result);
    return result;
}

std::wstring NumberFormatter::keepAllowed(const std::wstring& number) const {
    std::wstring kept;
    kept.reserve(number.size());
    for (auto it = number.begin(); it != number.end(); ++it) {
        if (boost::regex_search(it, it + 1, mAllowedPattern)) kept.push_back(*it);
    }
    return kept;
}

bool NumberFormatter::applyFirstMatchingRule(std::wstring& number) const {
    // Table order decides, not the longest leading text.
    for (const DialRule& rule : mRules) {
        if (rule.mEnabled == 0) continue;
        const std::wstring leading = fieldText(rule.mLeading);
        if (!number.starts_with(leading)) continue;
        number.replace(0, leading.size(), fieldText(rule.mAdded));
        return true;
    }
    return false;
}

std::wstring NumberFormatter::removeAll(const std::wstring& number, const boost::wregex& pattern) const {
    return boost::regex_replace(number, pattern, std::wstring(), boost::regex_constants::format_literal);
}

std::wstring NumberFormatter::waitsToPauses(const std::wstring& number) const {
    return boost::regex_replace(number, mWaitPattern, std::wstring(L"P"), boost::regex_constants::format_literal);
}

void NumberFormatter::stripLeadingPauses(std::wstring& number) {
    number.erase(0, std::min(number.find_first_not_of(L'P'), number.size()));
}
