#pragma once

#include "platform/LumPlatform.h"

/// The native texts of the managed boundary are in the ANSI code page of each thread.

namespace LumTests {

/// The calling thread has the code page 932 while this lives.
struct JapaneseTexts {
    JapaneseTexts() { SetThreadLocale(0x0411); }
    ~JapaneseTexts() { SetThreadLocale(before); }
    JapaneseTexts(const JapaneseTexts&) = delete;
    JapaneseTexts& operator=(const JapaneseTexts&) = delete;

    const LCID before = GetThreadLocale();
};

/// U+3042 in that code page.
constexpr const char* kHiragana = "\x82\xA0";

/// A lead byte alone.
constexpr const char* kInvalidByte = "\x81";

/// What that byte becomes in a text that people read: the code page's own default character.
constexpr char16_t kReplacement = 0x30FB;

/// No code page but UTF-8 refuses any character.
constexpr bool kRefusesUnpairedSurrogates = false;

} // namespace LumTests
