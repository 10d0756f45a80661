#pragma once

#include <string>
#include <string_view>
#include <type_traits>

namespace LumUtils {

/// The code unit of UTF-16 text: wchar_t where that has 16 bits, as on Windows, else char16_t.
using WideChar = std::conditional_t<sizeof(wchar_t) == 2, wchar_t, char16_t>;

/// UTF-16 text as the platform's calls take it.
using WideString = std::basic_string<WideChar>;

/// The text without the leading and trailing characters for which the runtime's isspace is true:
///
///     trimString(" \t x y \r\n") == "x y"
///
/// White space only gives the empty text. Throws std::bad_alloc, as do the conversions below.
std::string trimString(const std::string& text);

/// As trimString, without a copy: the result is a part of the text.
std::string_view trimView(std::string_view text);

/// UTF-8 as UTF-16. Embedded NULs are kept. Text that is not valid UTF-8 gives the empty result, never a replacement
/// character, and leaves the thread's last error at ERROR_NO_UNICODE_TRANSLATION.
WideString utf8ToUtf16(const std::string& text);

/// UTF-16 as UTF-8. Embedded NULs are kept. Text with an unpaired surrogate gives the empty result, never a replacement
/// character, and leaves the thread's last error at ERROR_NO_UNICODE_TRANSLATION.
std::string utf16ToUtf8(const WideString& text);

} // namespace LumUtils
