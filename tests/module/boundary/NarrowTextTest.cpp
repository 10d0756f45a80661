#include "NarrowEncoding.h"
#include "Windows/Cli/utils/ManagedText.h"
#include "support/FakeManagedHost.h"

#include <gtest/gtest.h>

/// What only a code page can show: characters that it lacks.

namespace {

using namespace LumTests;

std::string nativeText(const FakeManagedHost& host, const std::wstring& text)
{
    return LumUtilsCli::toNativeText(host.table(), {text.data(), static_cast<std::int32_t>(text.size())});
}

TEST(NarrowTextTest, ACharacterThatTheCodePageLacksBecomesItsDefaultCharacterAndNoLookAlike)
{
    const JapaneseTexts encoding;
    const FakeManagedHost host;
    const std::wstring text = L"\u00A5|\u00C0|\u4E2D|\u1234";
    char lookAlike[16] = {};
    ASSERT_GT(WideCharToMultiByte(CP_THREAD_ACP, 0, text.data(), 2, lookAlike, sizeof(lookAlike), nullptr, nullptr), 0);
    EXPECT_STREQ(lookAlike, "\\|") << "the code page has a look-alike of the first";
    EXPECT_EQ(nativeText(host, text), "?|?|\x92\x86|?");
}

} // namespace
