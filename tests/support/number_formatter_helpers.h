// Test helpers: the number formatter driven as a client drives it.
#pragma once

#include "number_formatter_records.h"
#include "support/number_formatter.h"

namespace nf_test {

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

}  // namespace nf_test
