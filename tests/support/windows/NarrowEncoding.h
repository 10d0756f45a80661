#pragma once

#include "platform/LumPlatform.h"

/// The native texts of the managed boundary are in the ANSI code page of each thread.

namespace LumTests {

/// The calling thread has this locale, and its code page, while this lives.
template <LCID Locale>
struct TextsOfLocale {
    TextsOfLocale() { SetThreadLocale(Locale); }
    ~TextsOfLocale() { SetThreadLocale(before); }
    TextsOfLocale(const TextsOfLocale&) = delete;
    TextsOfLocale& operator=(const TextsOfLocale&) = delete;

    const LCID before = GetThreadLocale();
};

/// Code page 932.
using JapaneseTexts = TextsOfLocale<0x0411>;

/// Hindi, a language that has no code page of its own: its texts are UTF-8.
using Utf8Texts = TextsOfLocale<0x0439>;

/// U+3042 in code page 932.
constexpr const char* kHiragana = "\x82\xA0";

/// A lead byte alone.
constexpr const char* kInvalidByte = "\x81";

/// What that byte becomes in a text that people read: the code page's own default character.
constexpr char16_t kReplacement = 0x30FB;

/// No code page but UTF-8 refuses any character.
constexpr bool kRefusesUnpairedSurrogates = false;

/// Whether the runtime's formatting refuses a wide character that no encoding has. Else it writes nothing for it.
constexpr bool kRefusesToFormatNoCharacter = false;

} // namespace LumTests
