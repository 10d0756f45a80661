#include "Windows/Cli/LumCliAbi.h"
#include "support/BoundaryFunctions.h"

#include <gtest/gtest.h>

#include <string>

/// The library as hosts load it.

namespace {

class LibraryTest : public testing::Test {
protected:
    const HMODULE library = LoadLibraryA(LUM_SHARED_LIBRARY);
    ~LibraryTest() override { FreeLibrary(library); }

    template <typename Function>
    Function function(const char* name) const
    {
        return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
    }
};

TEST_F(LibraryTest, NeedsNothingBesideItself)
{
    EXPECT_NE(library, nullptr) << GetLastError();
}

TEST_F(LibraryTest, EveryFunctionOfTheBoundaryIsFoundByItsName)
{
    ASSERT_NE(library, nullptr);
    for (const char* const name : LumTests::kBoundaryFunctions) {
        EXPECT_NE(function<void*>(name), nullptr) << name;
    }
}

TEST_F(LibraryTest, SaysWhatItIs)
{
    ASSERT_NE(library, nullptr);
    EXPECT_EQ(function<decltype(&LumCliGetAbiVersion)>("LumCliGetAbiVersion")(), kLumCliAbiVersion);
    EXPECT_EQ(function<decltype(&LumCliGetPointerBits)>("LumCliGetPointerBits")(),
              static_cast<std::int32_t>(8 * sizeof(void*)));
    EXPECT_EQ(std::string(function<decltype(&LumCliGetLibraryVersion)>("LumCliGetLibraryVersion")()),
              LumCliGetLibraryVersion());
}

} // namespace
