#include "support/ScriptedPlatform.h"
#include "support/StorageTest.h"
#include "support/ThrowingLogger.h"
#include "support/posix/FoldMemory.h"

#include <cerrno>
#include <cstdint>

#include <unistd.h>

namespace {

using LumTests::asText;
using LumTests::LogRecord;
using LumUtils::LumLogLevel;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string kOpenForReading = "CreateFileW(\"C:\\a\", access=0xc0000000, share=3, security=null, disposition=4, "
                                    "attributes=0x80, template=null)";
const std::string kOpenForWriting = "CreateFileW(\"C:\\a\", access=0xc0000000, share=1, security=null, disposition=4, "
                                    "attributes=0x80, template=null)";
const std::string kRange = "reserved=0, length=0xffffffff:0xffffffff, offset=0x0:0x0)";
const std::string kLockShared = "LockFileEx(file, flags=1, " + kRange;
const std::string kLockExclusive = "LockFileEx(file, flags=2, " + kRange;
const std::string kSize = "GetFileSize(file, high=null)";
const std::string kSeek = "SetFilePointer(file, distance=0, high=null, method=0)";
const std::string kTruncate = "SetEndOfFile(file)";
const std::string kUnlock = "UnlockFileEx(file, " + kRange;
const std::string kClose = "CloseHandle(file)";

class LockedFileScriptedTest : public LumTests::StorageTest {
protected:
    LockedFileScriptedTest() { platform.fileContent = "content"; }

    ~LockedFileScriptedTest() override
    {
        EXPECT_EQ(platform.openHandles(), 0U) << "the file is closed";
        EXPECT_EQ(platform.heldBuffers(), 0) << "all message texts are freed";
        EXPECT_THAT(platform.misuses(), IsEmpty());
    }

    std::string read() { return asText(files.readFileContentWithLock("C:\\a", error)); }
    bool write(const std::string& content = "new") { return files.writeFileContentWithLock("C:\\a", content, error); }

    /// The calls on files, without those that make message texts.
    std::vector<std::string> fileCalls() const
    {
        std::vector<std::string> found;
        for (const std::string& call : platform.calls("")) {
            if (call.find("FormatMessageA") == std::string::npos && call.find("LocalFree") == std::string::npos) {
                found.push_back(call);
            }
        }
        return found;
    }

    void expectFailure(int code, int platformCode, const std::string& base)
    {
        const std::string description = base + " Error: text of " + std::to_string(platformCode);
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(error->getDescription(),
                  "Domain: com.corvan.clientlibs.liblumstorage.error, Code: " + std::to_string(code) +
                      ", UserInfo: {LumErrorUnderlyingErrorCode: " + std::to_string(platformCode) +
                      ", LumErrorUnderlyingErrorDescription: " + description + "}");
        expectError("setErrorAndLog", description);
    }

    void expectSuccess(const std::string& operation, const std::string& message)
    {
        EXPECT_EQ(error, nullptr);
        expectRecord(LumLogLevel::Info, operation, message, LumTests::kLockedFile);
    }

    LumTests::ScriptedPlatform platform;
};

TEST_F(LockedFileScriptedTest, ReadMakesItsCallsInOrder)
{
    EXPECT_EQ(read(), "content");
    EXPECT_THAT(fileCalls(), ElementsAre(kOpenForReading, kLockShared, kSize, "ReadFile(file, size=7, overlapped=null)",
                                         kUnlock, kClose));
    expectSuccess("readFileContentWithLock", "Successfully read content from file 'C:\\a'.");
}

TEST_F(LockedFileScriptedTest, EmptyFileIsRead)
{
    platform.fileContent.clear();
    EXPECT_EQ(read(), "");
    EXPECT_EQ(platform.countOf("ReadFile"), 1);
    expectSuccess("readFileContentWithLock", "Successfully read content from file 'C:\\a'.");
}

TEST_F(LockedFileScriptedTest, WriteMakesItsCallsInOrder)
{
    EXPECT_TRUE(write("new\n"));
    EXPECT_THAT(fileCalls(), ElementsAre(kOpenForWriting, kSeek, kTruncate, kLockExclusive,
                                         "WriteFile(file, \"new\\n\", size=4, overlapped=null)", kUnlock, kClose));
    EXPECT_EQ(platform.fileContent, "new\n");
    expectSuccess("writeFileContentWithLock", "Successfully wrote content to file 'C:\\a'");
}

/// Notes what the platform was last asked for when each record came.
class OrderLogger : public LumUtils::LumFormattingLoggerDelegate {
public:
    explicit OrderLogger(const LumTests::ScriptedPlatform& scripted) : platform(scripted) {}

    std::vector<std::string> lastCalls;

private:
    void writeRecord(LumUtils::LumLogLevel /*level*/, const std::string& /*file*/, const std::string& /*function*/,
                     const std::string& /*message*/, unsigned int /*line*/) override
    {
        lastCalls.push_back(platform.calls("").back());
    }

    const LumTests::ScriptedPlatform& platform;
};

TEST_F(LockedFileScriptedTest, SuccessIsToldBeforeTheUnlock)
{
    const auto order = std::make_shared<OrderLogger>(platform);
    LumStorage::LumFileManager manager(order);
    manager.readFileContentWithLock("C:\\a", error);
    manager.writeFileContentWithLock("C:\\a", "new", error);
    EXPECT_THAT(order->lastCalls, ElementsAre("ReadFile(file, size=7, overlapped=null)",
                                              "WriteFile(file, \"new\", size=3, overlapped=null)"));
}

TEST_F(LockedFileScriptedTest, AFailureIsToldWhenTheFileIsClosed)
{
    const auto order = std::make_shared<OrderLogger>(platform);
    LumStorage::LumFileManager manager(order);
    platform.failCall("ReadFile", 1, 23);
    manager.readFileContentWithLock("C:\\a", error);
    platform.failCall("WriteFile", 1, 112);
    manager.writeFileContentWithLock("C:\\a", "new", error);
    EXPECT_THAT(order->lastCalls, ElementsAre(kClose, kClose));
}

TEST_F(LockedFileScriptedTest, PathIsWidenedByteByByteWithItsSign)
{
    files.readFileContentWithLock("a\x7F\x80\xE9\xFF%", error);
    EXPECT_THAT(platform.calls("CreateFileW").at(0),
                testing::StartsWith("CreateFileW(\"a\\u007F\\uFF80\\uFFE9\\uFFFF%\", "));
}

TEST_F(LockedFileScriptedTest, ReadThatCannotOpenIsCode1)
{
    platform.failCall("CreateFileW", 1, 32);
    EXPECT_EQ(read(), "");
    expectFailure(1, 32, "Error opening file 'C:\\a' to acquire lock for reading.");
    EXPECT_THAT(fileCalls(), ElementsAre(kOpenForReading)) << "there is nothing to close";
}

TEST_F(LockedFileScriptedTest, ReadThatCannotLockIsCode4)
{
    platform.failCall("LockFileEx", 1, 33);
    EXPECT_EQ(read(), "");
    expectFailure(4, 33, "Error locking the file 'C:\\a' exclusively.");
    EXPECT_THAT(fileCalls(), ElementsAre(kOpenForReading, kLockShared, kClose)) << "there is nothing to unlock";
}

TEST_F(LockedFileScriptedTest, ReadThatCannotTellTheSizeIsCode8)
{
    platform.failCall("GetFileSize", 1, 1006);
    EXPECT_EQ(read(), "");
    expectFailure(8, 1006, "Error getting file size for 'C:\\a'");
    EXPECT_THAT(fileCalls(), ElementsAre(kOpenForReading, kLockShared, kSize, kUnlock, kClose));
}

TEST_F(LockedFileScriptedTest, ReadThatFailsIsCode5)
{
    platform.failCall("ReadFile", 1, 23);
    EXPECT_EQ(read(), "");
    expectFailure(5, 23, "Error reading the content from file 'C:\\a'.");
    EXPECT_THAT(platform.calls("UnlockFileEx"), ElementsAre(kUnlock));
}

TEST_F(LockedFileScriptedTest, ShortReadIsCode5WithBothCounts)
{
    platform.missingBytes = 3;
    SetLastError(183);
    EXPECT_EQ(read(), "");
    expectFailure(5, 183, "Error reading the content from file 'C:\\a'. Actual bytes to read: 7. Bytes read: 4");
}

TEST_F(LockedFileScriptedTest, ReadThatCannotUnlockAfterSuccessReportsNothing)
{
    platform.failCall("UnlockFileEx", 1, 158);
    EXPECT_EQ(read(), "content");
    expectSuccess("readFileContentWithLock", "Successfully read content from file 'C:\\a'.");
    EXPECT_EQ(fileCalls().back(), kClose);
}

TEST_F(LockedFileScriptedTest, ReadThatCannotUnlockAfterAFailureTellsOfTheUnlockUnderTheEarlierCode)
{
    platform.failCall("GetFileSize", 1, 1006);
    platform.failCall("UnlockFileEx", 1, 158);
    EXPECT_EQ(read(), "");
    expectFailure(8, 158, "Error unlocking the file 'C:\\a'.");

    platform.failCall("ReadFile", 1, 23);
    platform.failCall("UnlockFileEx", 2, 159);
    EXPECT_EQ(read(), "");
    expectFailure(5, 159, "Error unlocking the file 'C:\\a'.");
    EXPECT_EQ(platform.countOf("CloseHandle"), 2);
}

TEST_F(LockedFileScriptedTest, ShortReadThatCannotUnlockTellsOfTheUnlock)
{
    platform.missingBytes = 1;
    platform.failCall("UnlockFileEx", 1, 158);
    EXPECT_EQ(read(), "");
    expectFailure(5, 158, "Error unlocking the file 'C:\\a'.");
}

TEST_F(LockedFileScriptedTest, WriteThatCannotOpenIsCode1)
{
    platform.failCall("CreateFileW", 1, 32);
    EXPECT_FALSE(write());
    expectFailure(1, 32, "Error opening file 'C:\\a' to acquire lock for writing.");
    EXPECT_THAT(fileCalls(), ElementsAre(kOpenForWriting));
}

TEST_F(LockedFileScriptedTest, WriteThatCannotSetThePositionIsCode9)
{
    platform.failCall("SetFilePointer", 1, 131);
    EXPECT_FALSE(write());
    expectFailure(9, 131, "Error setting file pointer to the beginning of the file 'C:\\a'.");
    EXPECT_THAT(fileCalls(), ElementsAre(kOpenForWriting, kSeek, kClose));
}

TEST_F(LockedFileScriptedTest, WriteThatCannotTruncateIsCode10)
{
    platform.failCall("SetEndOfFile", 1, 1224);
    EXPECT_FALSE(write());
    expectFailure(10, 1224, "Error truncating the file 'C:\\a'.");
    EXPECT_THAT(fileCalls(), ElementsAre(kOpenForWriting, kSeek, kTruncate, kClose));
}

TEST_F(LockedFileScriptedTest, WriteThatCannotLockIsCode4)
{
    platform.failCall("LockFileEx", 1, 33);
    EXPECT_FALSE(write());
    expectFailure(4, 33, "Error locking the file 'C:\\a' exclusively.");
    EXPECT_THAT(fileCalls(), ElementsAre(kOpenForWriting, kSeek, kTruncate, kLockExclusive, kClose));
}

TEST_F(LockedFileScriptedTest, WriteThatFailsIsCode6)
{
    platform.failCall("WriteFile", 1, 112);
    EXPECT_FALSE(write());
    expectFailure(6, 112, "Error writing the content to file 'C:\\a'.");
    EXPECT_THAT(platform.calls("UnlockFileEx"), ElementsAre(kUnlock));
    EXPECT_EQ(fileCalls().back(), kClose);
}

TEST_F(LockedFileScriptedTest, ShortWriteIsCode6WithBothCounts)
{
    platform.missingBytes = 2;
    SetLastError(183);
    EXPECT_FALSE(write("content"));
    expectFailure(6, 183, "Error writing the content to file 'C:\\a'. Actual bytes to write: 7. Bytes written: 5");
}

TEST_F(LockedFileScriptedTest, WriteThatCannotUnlockIsCode7)
{
    platform.failCall("UnlockFileEx", 1, 158);
    EXPECT_FALSE(write());
    ASSERT_EQ(recorder->records().size(), 2U) << "the success, and that the lock stayed";
    EXPECT_EQ(recorder->recordsOfLevel(LumLogLevel::Info).at(0).message, "Successfully wrote content to file 'C:\\a'");
    const LogRecord failure = recorder->recordsOfLevel(LumLogLevel::Error).at(0);
    EXPECT_EQ(failure.message, "Error unlocking the file 'C:\\a'. Error: text of 158");
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->getCode(), 7);
    EXPECT_EQ(fileCalls().back(), kClose);
}

TEST_F(LockedFileScriptedTest, WriteThatFailsAndCannotUnlockIsCode7)
{
    platform.failCall("WriteFile", 1, 112);
    platform.failCall("UnlockFileEx", 1, 158);
    EXPECT_FALSE(write());
    expectFailure(7, 158, "Error unlocking the file 'C:\\a'.");
}

#ifndef LUM_HAS_SANITIZER // which keeps books of all memory that is filled
/// A text of 4 GiB that takes little memory.
class HugeText {
public:
    HugeText()
    {
        constexpr std::size_t kFourGibibytes = std::size_t{1} << 32U;
        text.reserve(kFourGibibytes);
        // Nobody has touched the room yet, so that between its first and its last page it can be any memory.
        const auto pageSize = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        const std::size_t first = pageSize - reinterpret_cast<std::uintptr_t>(text.data()) % pageSize;
        LumTests::foldMemory(text.data() + first, (kFourGibibytes - first) / pageSize * pageSize);
        text.resize(kFourGibibytes, 'x');
    }

    const std::string& get() const { return text; }

private:
    std::string text;
};

TEST_F(LockedFileScriptedTest, ContentThatOneCallCannotWriteIsCode6BeforeTheFileIsEmptied)
{
    const HugeText text;
    EXPECT_FALSE(write(text.get()));
    EXPECT_THAT(fileCalls(), IsEmpty()) << "the file is not even opened";
    EXPECT_EQ(platform.fileContent, "content");
    expectFailure(6, EFBIG, "Error writing the content to file 'C:\\a'.");
}
#endif

TEST_F(LockedFileScriptedTest, TextsWithPercentSignsAreNoFormats)
{
    platform.texts[5] = " 100%s %n \r\n";
    platform.failCall("CreateFileW", 1, 5);
    files.readFileContentWithLock("%d", error);
    expectError("setErrorAndLog", "Error opening file '%d' to acquire lock for reading. Error: 100%s %n");
    platform.numbersWithoutText = {6};
    platform.failCall("CreateFileW", 2, 6);
    files.writeFileContentWithLock("%d", "", error);
    expectError("setErrorAndLog", "Error opening file '%d' to acquire lock for writing. Error: Unknown error code 6");
}

TEST_F(LockedFileScriptedTest, OverriddenReportIsUsed)
{
    class Derived : public LumStorage::LumFileManager {
    public:
        using LumFileManager::LumFileManager;
        void setErrorAndLog(int code, unsigned int underlyingCode, const std::string& description,
                            std::shared_ptr<LumUtils::ILumError>& /*errorOut*/) override
        {
            reported = std::to_string(code) + " " + std::to_string(underlyingCode) + " " + description;
        }
        std::string reported;
    };
    Derived manager(recorder);
    platform.failCall("CreateFileW", 1, 32);
    manager.readFileContentWithLock("a", error);
    EXPECT_EQ(manager.reported, "1 32 Error opening file 'a' to acquire lock for reading. Error: text of 32");
}

class TemporaryDirectoryTest : public LockedFileScriptedTest {
protected:
    /// The record of the failed call, which is the first of so many.
    void expectCallReported(const std::string& message, std::size_t count)
    {
        const std::vector<LogRecord> records = recorder->records();
        ASSERT_EQ(records.size(), count);
        expectSame(records[0], LumLogLevel::Error, "LumStorage::LumStorageErrorUtilsWin::logWindowsErrorWithDelegate",
                   message, LumTests::kErrorUtilsFile);
    }
};

TEST_F(TemporaryDirectoryTest, IsTheSystems)
{
    EXPECT_EQ(files.getTempDirectoryPath(), "C:\\Temp\\");
    EXPECT_THAT(platform.calls("GetTempPathA"), ElementsAre("GetTempPathA(260, buffer=set)"));
    platform.temporaryFolder = "\\";
    EXPECT_EQ(files.getTempDirectoryPath(), "\\") << "1 character";
    platform.temporaryFolder = std::string(258, 'x') + "\\";
    EXPECT_EQ(files.getTempDirectoryPath(), platform.temporaryFolder) << "259 characters";
    EXPECT_EQ(platform.countOf("ReadEnvironment"), 0);
    expectSilent();
}

TEST_F(TemporaryDirectoryTest, IsTheEnvironmentsIfTheSystemHasNone)
{
    platform.environment["TEMP"] = "D:\\tmp";
    platform.failCall("GetTempPathA", 1, 5);
    EXPECT_EQ(files.getTempDirectoryPath(), "D:\\tmp\\");
    expectCallReported("GetTempPathA failed. Error 5: text of 5", 1);
    recorder->clear();
    platform.environment["TEMP"] = "D:\\tmp\\";
    platform.failCall("GetTempPathA", 2, 0xC0000022U);
    EXPECT_EQ(files.getTempDirectoryPath(), "D:\\tmp\\\\") << "one is appended in any case";
    expectCallReported("GetTempPathA failed. Error -1073741790: text of 3221225506", 1);
    EXPECT_THAT(platform.calls("ReadEnvironment"), ElementsAre("ReadEnvironment(TEMP)", "ReadEnvironment(TEMP)"));
    recorder->clear();
    platform.environment["TEMP"] = "";
    platform.failCall("GetTempPathA", 3, 5);
    EXPECT_EQ(files.getTempDirectoryPath(), "\\") << "an empty value is one";
    expectCallReported("GetTempPathA failed. Error 5: text of 5", 1);
}

TEST_F(TemporaryDirectoryTest, NameThatDoesNotFitIsAFailure)
{
    platform.environment["TEMP"] = "D:\\tmp";
    for (const DWORD result : {260U, 300U, 0U}) {
        platform.temporaryFolderResult = result;
        SetLastError(111);
        EXPECT_EQ(files.getTempDirectoryPath(), "D:\\tmp\\");
        expectCallReported("GetTempPathA failed. Error 111: text of 111", 1);
        recorder->clear();
    }
}

TEST_F(TemporaryDirectoryTest, IsTheDefaultIfNothingElseIsKnown)
{
    platform.failCall("GetTempPathA", 1, 5);
    EXPECT_EQ(files.getTempDirectoryPath(), "C:\\temp\\");
    expectCallReported("GetTempPathA failed. Error 5: text of 5", 2);
    expectSame(recorder->records()[1], LumLogLevel::Warning, "LumStorage::LumFileManager::getTempDirectoryPath",
               "Failed to get temp directory path. Using default as C:\\temp\\.", LumTests::kLockedFile);
}

TEST_F(TemporaryDirectoryTest, ThrowingLoggerChangesNoResult)
{
    LumStorage::LumFileManager manager(std::make_shared<LumTests::ThrowingLogger>());
    platform.failCall("GetTempPathA", 1, 5);
    EXPECT_EQ(manager.getTempDirectoryPath(), "C:\\temp\\");
    platform.environment["TEMP"] = "D:\\tmp";
    platform.failCall("GetTempPathA", 2, 5);
    EXPECT_EQ(manager.getTempDirectoryPath(), "D:\\tmp\\");
}

} // namespace
