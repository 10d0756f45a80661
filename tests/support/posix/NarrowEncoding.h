#pragma once

/// The native texts of the managed boundary: UTF-8 here; the header of the same name for Windows says what is otherwise
/// there.

namespace LumTests {

/// The calling thread's native texts may hold Japanese, and can be invalid.
struct JapaneseTexts {
    JapaneseTexts() = default;
    ~JapaneseTexts() {}
    JapaneseTexts(const JapaneseTexts&) = delete;
    JapaneseTexts& operator=(const JapaneseTexts&) = delete;
};

/// The calling thread's native texts are UTF-8.
struct Utf8Texts {
    Utf8Texts() = default;
    ~Utf8Texts() {}
    Utf8Texts(const Utf8Texts&) = delete;
    Utf8Texts& operator=(const Utf8Texts&) = delete;
};

/// U+3042 as a Japanese text.
constexpr const char* kHiragana = "\xE3\x81\x82";

/// One byte that is no text.
constexpr const char* kInvalidByte = "\x81";

/// What that byte becomes in a text that people read.
constexpr char16_t kReplacement = 0xFFFD;

/// Whether an unpaired surrogate cannot be encoded. Else it becomes the default character, "?".
constexpr bool kRefusesUnpairedSurrogates = true;

/// Whether the runtime's formatting refuses a wide character that no encoding has. Else it writes nothing for it.
constexpr bool kRefusesToFormatNoCharacter = true;

} // namespace LumTests
