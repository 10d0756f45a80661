#include "NarrowEncoding.h"
#include "Windows/Cli/utils/ManagedException.h"
#include "Windows/Cli/utils/ManagedText.h"
#include "support/FakeManagedHost.h"
#include "support/FoldedMemory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

using namespace LumTests;

/// Both are about texts whose native form is UTF-8, where a character takes more bytes than it has units.
class LongTextTest : public testing::Test {
protected:
    Utf8Texts encoding;
    FakeManagedHost host;
};

TEST_F(LongTextTest, AManagedTextThatNeedsMoreThanTheLargestIntIsOutOfRange)
{
    constexpr std::int32_t kUnits = 0x7FFFFFFF / 3 + 1;
    const FoldedMemory memory(kUnits * sizeof(LumCliChar));
    auto* const units = reinterpret_cast<LumCliChar*>(memory.data());
    std::fill_n(units, FoldedMemory::kFold / sizeof(LumCliChar), LumCliChar{0x3042});
    try {
        LumUtilsCli::toNativeText(host.table(), {units, kUnits});
        FAIL() << "nothing was thrown";
    } catch (const LumUtilsCli::ManagedException& exception) {
        const auto thrown = host.takeException(exception.Release());
        EXPECT_EQ(thrown->type, "System.ArgumentOutOfRangeException");
        EXPECT_EQ(thrown->paramName, u"Size of string exceeds INT_MAX.");
    }
}

TEST_F(LongTextTest, ATextThatIsMeasuredInPartsIsConvertedWhole)
{
    // A pair stands across each end of a part.
    constexpr std::int32_t kUnits = (1 << 24) + 2;
    std::vector<LumCliChar> units(kUnits, u'x');
    units[(1 << 24) - 1] = 0xD83D;
    units[1 << 24] = 0xDE00;
    const std::string native = LumUtilsCli::toNativeText(host.table(), {units.data(), kUnits});
    EXPECT_EQ(native.size(), kUnits + 2U);
    EXPECT_EQ(native.substr((1 << 24) - 2), "x\xF0\x9F\x98\x80x");
}

} // namespace
