// Turns a telephone number as a user sees it ("+44 (0)20 7946-0000") into the
// digits the terminal dials: dialling rules replace its leading digits,
// default digits stand in when no rule matches, and an outside-line prefix goes
// in front. Two rule tables: the committed one formats, the working copy takes
// what the client's settings dialog checks and stages.
//
// No lock: the client calls the number exports from one thread at a time.
#pragma once

#include <array>
#include <boost/regex.hpp>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "softphone.h"

class NumberFormatter {
public:
    // Mask bits of ModuleVariables, applied in this order.
    static constexpr int kRulesBit = SP_MODULE_RULES;
    static constexpr int kShortLengthBit = SP_MODULE_SHORT_LENGTH;
    static constexpr int kStoredFlagBit = SP_MODULE_STORED_FLAG;
    static constexpr int kPrefixBit = SP_MODULE_PREFIX;
    static constexpr int kRemoveZeroBit = SP_MODULE_REMOVE_ZERO;
    static constexpr int kDefaultDigitsBit = SP_MODULE_DEFAULT_DIGITS;

    // Results of setModuleVariables beside 0.
    static constexpr int kNoRecord = SP_FORMAT_ERROR;
    static constexpr int kDefaultDigitsRefused = SP_FORMAT_DEFAULT_DIGITS_REFUSED;

    // Results of the two checks.
    static constexpr int kCheckStaged = SP_FORMAT_OK;
    static constexpr int kCheckInvalid = SP_FORMAT_ERROR;
    static constexpr int kLeadingNotMatched = SP_FORMAT_LEADING_NOT_MATCHED;
    static constexpr int kAddedNotMatched = SP_FORMAT_ADDED_NOT_MATCHED;
    static constexpr int kRuleNotInUse = SP_FORMAT_RULE_NOT_IN_USE;

    // The rule index by which the client validates default digits.
    static constexpr int kNoRule = SP_FORMAT_NO_RULE;

    static constexpr int kLeadingCapacity = 17;
    static constexpr int kAddedCapacity = 9;
    static constexpr int kPrefixCapacity = 8;
    static constexpr int kDefaultDigitsCapacity = 9;
    // A real table holds a handful of rules; a count beyond this is a wrong
    // record, and taking it would allocate and read without bound.
    static constexpr int kMaxRuleCount = 1024;

    NumberFormatter();

    // 0; kNoRecord for a null record; kDefaultDigitsRefused when the default
    // digits were asked for and refused.
    int setModuleVariables(const ModuleVariables* record, int mask);
    // 0, or kNoRecord for a null record. A null rule pointer in the record
    // asks for the count only.
    int getModuleVariables(ModuleVariables* record, int mask) const;

    int checkLeading(const sp_wchar_t* text, int length, int rule);
    int checkAdded(const sp_wchar_t* text, int length, int rule);
    void discardChanges();

    // Formats the zero-terminated `text`; `length` only chooses between the
    // short and the long form. *out stays valid until the next call. Result:
    // characters of the result plus 1, or -1 for bad arguments.
    int formatNumber(const sp_wchar_t* text, int length, sp_wchar_t** out);

    // The working copy, for those who test the staging.
    std::span<const DialRule> pendingRules() const { return mPendingRules; }

private:
    using Utf16String = std::basic_string<sp_wchar_t>;

    void setRules(const DialRule* rules, int count);
    int setDefaultDigits(const ModuleVariables& record);
    bool isRuleIndex(int rule) const;
    bool matchesWhole(const std::wstring& text, const boost::wregex& pattern) const;

    std::wstring shortForm(const std::wstring& number) const;
    std::wstring longForm(const std::wstring& number) const;
    std::wstring keepAllowed(const std::wstring& number) const;
    bool applyFirstMatchingRule(std::wstring& number) const;
    std::wstring removeAll(const std::wstring& number, const boost::wregex& pattern) const;
    std::wstring waitsToPauses(const std::wstring& number) const;
    static void stripLeadingPauses(std::wstring& number);

    std::vector<DialRule> mRules;         // committed: formatting and reads use it
    std::vector<DialRule> mPendingRules;  // working copy, same length
    std::int32_t mShortLength = 0;
    std::array<sp_wchar_t, kPrefixCapacity> mPrefix{};
    std::int32_t mPrefixLength = 0;
    std::uint8_t mStoredFlag = 0;
    std::uint8_t mRemoveZero = 0;
    std::array<sp_wchar_t, kDefaultDigitsCapacity> mDefaultDigits{};
    std::int32_t mDefaultDigitsLength = 0;
    Utf16String mResult;

    boost::wregex mLeadingPattern;
    boost::wregex mAddedPattern;
    boost::wregex mAllowedPattern;
    boost::wregex mPlusPattern;
    boost::wregex mZeroPattern;
    boost::wregex mWaitPattern;
};
