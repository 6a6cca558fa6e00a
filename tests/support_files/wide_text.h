// Wide text as a client writes it: sp_wchar_t is wchar_t on Windows and
// char16_t elsewhere, so a literal is L"..." there and u"..." here.
#pragma once

#include <string>
#include <string_view>

#include "softphone.h"

#if defined(_WIN32)
#define SP_TEXT(literal) L##literal
#else
#define SP_TEXT(literal) u##literal
#endif

using WideText = std::basic_string<sp_wchar_t>;
using WideView = std::basic_string_view<sp_wchar_t>;
