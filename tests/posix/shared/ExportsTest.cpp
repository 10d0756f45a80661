#include "support/BoundaryFunctions.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

/// What the shared library shows.

namespace {

class ExportsTest : public testing::Test {
protected:
    void* library = dlopen(LUM_SHARED_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ~ExportsTest() override { dlclose(library); }

    bool shows(const char* name) const { return dlsym(library, name) != nullptr; }
};

TEST_F(ExportsTest, EveryFunctionOfTheBoundaryIsFoundByItsName)
{
    ASSERT_NE(library, nullptr);
    for (const char* const name : LumTests::kBoundaryFunctions) {
        EXPECT_TRUE(shows(name)) << name;
    }
}

// A runtime that brings calls of these names along must not get the library's.
TEST_F(ExportsTest, ThePlatformsCallsStayInside)
{
    EXPECT_FALSE(shows("_Z12GetLastErrorv"));
    EXPECT_FALSE(shows("_Z12SetLastErrorj"));
    EXPECT_FALSE(shows("_Z11CloseHandlePv"));
    EXPECT_FALSE(shows("_Z18WinHttpCloseHandlePv"));
}

TEST_F(ExportsTest, TypesThatCrossTheLibraryAreShown)
{
    EXPECT_TRUE(shows("_ZTIN11LumUtilsCli16ManagedExceptionE"));
    EXPECT_TRUE(shows("_ZTVN13LumNetworking30LumAsynchronousSocksHttpClientE"));
}

} // namespace
