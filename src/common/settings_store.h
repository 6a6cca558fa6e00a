// The settings store: one named text value under a registry-style key, in
// 8-bit (UTF-8) and UTF-16 forms. Stateless; each call reads or replaces
// the persistent file. Failures are only the false result.
#pragma once

#include <cstddef>
#include <string>

// True when the value was copied into `buffer`; a value longer than
// `capacity` - 1 units is cut there. `buffer` is untouched on false.
bool readSettingA(const char* subKey, const char* valueName, char* buffer, std::size_t capacity);
bool readSettingW(const char16_t* subKey, const char16_t* valueName, char16_t* buffer, std::size_t capacity);
// True when stored.
bool writeSettingA(const char* subKey, const char* valueName, const char* text);
bool writeSettingW(const char16_t* subKey, const char16_t* valueName, const char16_t* text);

// Conversions for the UTF-16 side; false on broken text.
bool utf16ToUtf8(const std::u16string& in, std::string& out);
bool utf8ToUtf16(const std::string& in, std::u16string& out);
