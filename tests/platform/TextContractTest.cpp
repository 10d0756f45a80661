#include "common/utils/LumTextUtils.h"
#include "platform/LumPlatform.h"

#include <gtest/gtest.h>

#include <limits>

/// What the library relies on in the platform's calls for texts, times and modules.

namespace {

LumUtils::WideString wide(const char* text)
{
    return LumUtils::utf8ToUtf16(text);
}

TEST(TextContractTest, ATextThatDoesNotFitIsNotConverted)
{
    WCHAR units[2] = {};
    char bytes[2] = {};
    EXPECT_EQ(MultiByteToWideChar(CP_THREAD_ACP, MB_ERR_INVALID_CHARS, "abc", 3, units, 2), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    const LumUtils::WideString euro = wide("\xE2\x82\xAC");
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, euro.c_str(), 1, bytes, 2, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
}

TEST(TextContractTest, AnUnpairedSurrogateIsNoUtf8)
{
    const WCHAR unpaired[] = {'a', 0xD800};
    char bytes[8] = {};
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, unpaired, 2, bytes, 8, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_NO_UNICODE_TRANSLATION);
}

TEST(TextContractTest, ACodePageThatIsNoneIsRefused)
{
    WCHAR units[2] = {};
    char bytes[2] = {};
    EXPECT_EQ(MultiByteToWideChar(99999, MB_ERR_INVALID_CHARS, "a", 1, units, 2), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(WideCharToMultiByte(99999, 0, wide("a").c_str(), 1, bytes, 2, nullptr, nullptr), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(ModuleContractTest, OnlyAnAddressOfAModuleIsPinned)
{
    constexpr DWORD kPin = GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS;
    HMODULE module = nullptr;
    const WCHAR onStack = 0;
    EXPECT_FALSE(GetModuleHandleExW(kPin, &onStack, &module));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_MOD_NOT_FOUND});
    const auto* const address = reinterpret_cast<const WCHAR*>(&LumUtils::utf8ToUtf16);
    EXPECT_FALSE(GetModuleHandleExW(kPin, address, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(GetModuleHandleExW(kPin, address, &module));
    EXPECT_NE(module, nullptr);
}

TEST(ModuleContractTest, WhatWasNotLoadedCannotBeLetGo)
{
    EXPECT_FALSE(FreeLibrary(nullptr));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST(TimeContractTest, ATimeOutsideTheCalendarIsNoLocalOne)
{
    std::tm local{};
    __time64_t seconds = 0;
    EXPECT_EQ(_localtime64_s(&local, &seconds), 0);
    seconds = std::numeric_limits<__time64_t>::max();
    EXPECT_NE(_localtime64_s(&local, &seconds), 0);
}

} // namespace
