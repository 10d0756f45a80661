#include "Windows/Cli/utils/ManagedException.h"
#include "Windows/Cli/utils/ManagedText.h"
#include "support/FakeManagedHost.h"

#include <gtest/gtest.h>

#include <algorithm>

#include <sys/mman.h>
#include <unistd.h>

namespace {

using namespace LumTests;

/// A text of one character, over and over, as long as wanted: the same few pages again and again.
class RepeatedText {
public:
    RepeatedText(LumCliChar unit, std::size_t wanted) : parts((wanted + kPart - 1) / kPart)
    {
        const int file = memfd_create("text", 0);
        EXPECT_EQ(ftruncate(file, kPartBytes), 0);
        void* const room = mmap(nullptr, parts * kPartBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        start = static_cast<char*>(room);
        for (std::size_t part = 0; part < parts; ++part) {
            mmap(start + part * kPartBytes, kPartBytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, file, 0);
        }
        close(file);
        std::fill_n(reinterpret_cast<LumCliChar*>(start), kPart, unit);
    }

    ~RepeatedText() { munmap(start, parts * kPartBytes); }
    RepeatedText(const RepeatedText&) = delete;
    RepeatedText& operator=(const RepeatedText&) = delete;

    const LumCliChar* units() const { return reinterpret_cast<const LumCliChar*>(start); }

private:
    static constexpr std::size_t kPart = std::size_t{1} << 20U;
    static constexpr std::size_t kPartBytes = kPart * sizeof(LumCliChar);

    const std::size_t parts;
    char* start = nullptr;
};

TEST(LongTextTest, AManagedTextThatNeedsMoreThanTheLargestIntIsOutOfRange)
{
    constexpr std::int32_t kUnits = 0x7FFFFFFF / 3 + 1;
    const RepeatedText text(0x3042, kUnits);
    FakeManagedHost host;
    try {
        LumUtilsCli::toNativeText(host.table(), {text.units(), kUnits});
        FAIL() << "nothing was thrown";
    } catch (const LumUtilsCli::ManagedException& exception) {
        const auto thrown = host.takeException(exception.Release());
        EXPECT_EQ(thrown->type, "System.ArgumentOutOfRangeException");
        EXPECT_EQ(thrown->paramName, u"Size of string exceeds INT_MAX.");
    }
}

TEST(LongTextTest, ATextThatIsMeasuredInPartsIsConvertedWhole)
{
    // A pair stands across each end of a part.
    constexpr std::int32_t kUnits = (1 << 24) + 2;
    std::vector<LumCliChar> units(kUnits, u'x');
    units[(1 << 24) - 1] = 0xD83D;
    units[1 << 24] = 0xDE00;
    FakeManagedHost host;
    const std::string native = LumUtilsCli::toNativeText(host.table(), {units.data(), kUnits});
    EXPECT_EQ(native.size(), kUnits + 2U);
    EXPECT_EQ(native.substr((1 << 24) - 2), "x\xF0\x9F\x98\x80x");
}

} // namespace
