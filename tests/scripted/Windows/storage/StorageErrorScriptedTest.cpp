#include "Windows/storage/LumStorageErrorUtilsWin.h"

#include "support/ScriptedPlatform.h"
#include "support/StorageTest.h"

namespace {

using LumStorage::LumStorageErrorUtilsWin::getLastErrorMessage;
using LumStorage::LumStorageErrorUtilsWin::logWindowsErrorWithDelegate;
using testing::ElementsAre;

class StorageErrorScriptedTest : public LumTests::StorageTest {
protected:
    ~StorageErrorScriptedTest() override { EXPECT_EQ(platform.heldBuffers(), 0); }

    std::string loggedFor(DWORD code)
    {
        recorder->clear();
        SetLastError(code);
        logWindowsErrorWithDelegate("GetTempPathA", recorder);
        const std::vector<LumTests::LogRecord> records = recorder->records();
        EXPECT_EQ(records.size(), 1U);
        return records.at(0).message;
    }

    LumTests::ScriptedPlatform platform;
};

TEST_F(StorageErrorScriptedTest, TextIsTheSystemsTrimmed)
{
    platform.texts[5] = "\t Access is denied.\r\n";
    SetLastError(5);
    DWORD code = 0;
    EXPECT_EQ(getLastErrorMessage(code), "Access is denied.");
    EXPECT_EQ(code, 5U);
    EXPECT_THAT(platform.calls(""), ElementsAre("FormatMessageA(flags=0x1300, source=null, code=5, language=0x400, "
                                                "buffer=set, size=0, arguments=null)",
                                                "LocalFree(set)"));
    platform.texts[5] = " \r\n";
    SetLastError(5);
    EXPECT_EQ(getLastErrorMessage(code), "") << "a text of white space is one";
}

TEST_F(StorageErrorScriptedTest, NumberWithoutATextIsNamedAndTheBufferFreedNevertheless)
{
    for (const DWORD number : {0U, 1234567U, 4294967295U}) {
        platform.numbersWithoutText = {number};
        SetLastError(number);
        DWORD code = 7;
        EXPECT_EQ(getLastErrorMessage(code), "Unknown error code " + std::to_string(number));
        EXPECT_EQ(code, number);
    }
    EXPECT_THAT(platform.calls("LocalFree"), ElementsAre("LocalFree(null)", "LocalFree(null)", "LocalFree(null)"));
}

TEST_F(StorageErrorScriptedTest, FailedCallIsLoggedWithItsNumberAsSigned)
{
    EXPECT_EQ(loggedFor(5), "GetTempPathA failed. Error 5: text of 5");
    EXPECT_EQ(loggedFor(0x7FFFFFFF), "GetTempPathA failed. Error 2147483647: text of 2147483647");
    EXPECT_EQ(loggedFor(0x80000000), "GetTempPathA failed. Error -2147483648: text of 2147483648");
    platform.numbersWithoutText = {0xFFFFFFFF};
    EXPECT_EQ(loggedFor(0xFFFFFFFF), "GetTempPathA failed. Error -1: Unknown error code 4294967295");
}

TEST_F(StorageErrorScriptedTest, MessageIsTheRecordsFormatWithoutValues)
{
    loggedFor(5);
    EXPECT_EQ(recorder->records()[0].format, "GetTempPathA failed. Error 5: text of 5");
    platform.texts[5] = "100%s %n";
    EXPECT_EQ(loggedFor(5), "GetTempPathA failed. Error 5: 100%s %n");
}

TEST_F(StorageErrorScriptedTest, WithoutADelegateTheErrorIsReadAndNothingLogged)
{
    SetLastError(5);
    logWindowsErrorWithDelegate("GetTempPathA", nullptr);
    EXPECT_EQ(platform.countOf("FormatMessageA"), 1);
    EXPECT_EQ(platform.countOf("LocalFree"), 1);
}

TEST_F(StorageErrorScriptedTest, DelegateIsReleasedOnReturn)
{
    SetLastError(5);
    std::shared_ptr<LumTests::RecordingLogger> given = std::make_shared<LumTests::RecordingLogger>();
    const std::weak_ptr<LumTests::RecordingLogger> watched = given;
    logWindowsErrorWithDelegate("GetTempPathA", std::move(given));
    EXPECT_TRUE(watched.expired());
}

} // namespace
