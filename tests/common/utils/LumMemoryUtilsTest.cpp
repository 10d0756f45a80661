#include "common/utils/LumMemoryUtils.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using LumUtils::secureZeroMemory;

void expectInvalidArgument(void* data, std::size_t size)
{
    try {
        secureZeroMemory(data, size);
        ADD_FAILURE() << "does not throw";
    } catch (const std::invalid_argument& failure) {
        EXPECT_STREQ(failure.what(), "Invalid argument to SecureZeroMemory");
    }
}

TEST(LumMemoryUtilsTest, ANullPointerOrASizeOfZeroIsRefused)
{
    char byte = 'x';
    expectInvalidArgument(nullptr, 1);
    expectInvalidArgument(&byte, 0);
    expectInvalidArgument(nullptr, 0);
    EXPECT_EQ(byte, 'x');
}

TEST(LumMemoryUtilsTest, EveryByteOfTheRangeAndNoOtherIsZero)
{
    for (std::size_t start = 0; start < 17; ++start) {
        for (std::size_t size = 1; size < 70; ++size) {
            std::vector<unsigned char> memory(100, 0xA5);
            secureZeroMemory(memory.data() + start, size);
            std::vector<unsigned char> expected(100, 0xA5);
            std::fill_n(expected.begin() + static_cast<std::ptrdiff_t>(start), size, static_cast<unsigned char>(0));
            EXPECT_EQ(memory, expected) << start << ", " << size;
        }
    }
}

TEST(LumMemoryUtilsTest, ALargeRangeIsZero)
{
    std::vector<char> memory(8 * 1024 * 1024 + 3, 'x');
    secureZeroMemory(memory.data(), memory.size());
    EXPECT_EQ(std::count(memory.begin(), memory.end(), '\0'), static_cast<std::ptrdiff_t>(memory.size()));
}

} // namespace
