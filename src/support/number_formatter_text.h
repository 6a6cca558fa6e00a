// Wide text at the client boundary is UTF-16 (sp_wchar_t); the formatter
// itself works on std::wstring so that boost::wregex can match it. Each UTF-16
// unit becomes one wchar_t and back, so a text survives the round trip
// unchanged, whatever it holds.
#pragma once

#include <cstddef>
#include <string>

#include "softphone.h"

namespace number_text {

using Utf16String = std::basic_string<sp_wchar_t>;

// Characters before the terminator of a zero-terminated text.
inline std::size_t terminatedLength(const sp_wchar_t* text) {
    std::size_t length = 0;
    while (text[length] != 0) ++length;
    return length;
}

// Characters of a fixed field before its first zero; a full field has no
// terminator, so the scan stops at its end.
inline std::size_t fieldLength(const sp_wchar_t* field, std::size_t capacity) {
    std::size_t length = 0;
    while (length < capacity && field[length] != 0) ++length;
    return length;
}

inline std::wstring toWide(const sp_wchar_t* text, std::size_t count) {
    std::wstring wide(count, L'\0');
    for (std::size_t i = 0; i < count; ++i) wide[i] = static_cast<wchar_t>(text[i]);
    return wide;
}

inline std::wstring terminatedText(const sp_wchar_t* text) {
    return toWide(text, terminatedLength(text));
}

template <std::size_t N>
std::wstring fieldText(const sp_wchar_t (&field)[N]) {
    return toWide(field, fieldLength(field, N));
}

inline Utf16String toUtf16(const std::wstring& text) {
    Utf16String utf16(text.size(), 0);
    for (std::size_t i = 0; i < text.size(); ++i) utf16[i] = static_cast<sp_wchar_t>(text[i]);
    return utf16;
}

}  // namespace number_text
