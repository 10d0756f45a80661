#include "Windows/storage/LumStorageErrorUtilsWin.h"

#include "support/StorageTest.h"

#include <cctype>

namespace {

using LumStorage::LumStorageErrorUtilsWin::getLastErrorMessage;
using LumStorage::LumStorageErrorUtilsWin::logWindowsErrorWithDelegate;

class StorageErrorTest : public LumTests::StorageTest {};

TEST_F(StorageErrorTest, TextOfTheLastErrorIsTheSystemsTrimmed)
{
    SetLastError(2);
    DWORD code = 0;
    const std::string text = getLastErrorMessage(code);
    EXPECT_EQ(code, 2U);
    ASSERT_FALSE(text.empty());
    EXPECT_EQ(std::isspace(static_cast<unsigned char>(text.back())), 0);
    EXPECT_THAT(text, testing::Not(testing::StartsWith("Unknown error code")));
}

TEST_F(StorageErrorTest, NumberWithoutATextIsNamed)
{
    for (const DWORD number : {1234567U, 4294967295U}) {
        SetLastError(number);
        DWORD code = 0;
        EXPECT_EQ(getLastErrorMessage(code), "Unknown error code " + std::to_string(number));
        EXPECT_EQ(code, number);
    }
}

TEST_F(StorageErrorTest, FailedCallIsLoggedWithItsNumberAndText)
{
    SetLastError(2);
    DWORD code = 0;
    const std::string text = getLastErrorMessage(code);
    SetLastError(2);
    logWindowsErrorWithDelegate("GetTempPathA", recorder);
    const std::vector<LumTests::LogRecord> records = recorder->records();
    ASSERT_EQ(records.size(), 1U);
    expectSame(records[0], LumUtils::LumLogLevel::Error,
               "LumStorage::LumStorageErrorUtilsWin::logWindowsErrorWithDelegate",
               "GetTempPathA failed. Error 2: " + text, LumTests::kErrorUtilsFile);
}

} // namespace
