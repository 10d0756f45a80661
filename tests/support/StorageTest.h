#pragma once

#include "common/storage/LumFileManager.h"
#include "common/storage/LumStdFilesystemWrapper.h"
#include "support/RecordingLogger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <any>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace LumTests {

constexpr const char* kFileManagerFile = "src/common/storage/LumFileManager.cpp";
constexpr const char* kLockedFile = "src/Windows/storage/LumFileManager_Win.cpp";
constexpr const char* kErrorUtilsFile = "src/Windows/storage/LumStorageErrorUtilsWin.cpp";

inline std::string asText(const std::vector<char>& content)
{
    return {content.begin(), content.end()};
}

/// A file manager whose records are kept, and what they are expected to be.
class StorageTest : public testing::Test {
protected:
    /// There is one record since the last question, as given, from a function of the file manager.
    void expectRecord(LumUtils::LumLogLevel level, const std::string& operation, const std::string& message,
                      const char* file = kFileManagerFile)
    {
        const std::vector<LogRecord> records = recorder->records();
        recorder->clear();
        ASSERT_EQ(records.size(), 1U) << "exactly one record: " << message;
        expectSame(records[0], level, "LumStorage::LumFileManager::" + operation, message, file);
    }

    void expectError(const std::string& operation, const std::string& message)
    {
        expectRecord(LumUtils::LumLogLevel::Error, operation, message);
    }

    static void expectSame(const LogRecord& record, LumUtils::LumLogLevel level, const std::string& function,
                           const std::string& message, const char* file)
    {
        EXPECT_EQ(record.level, level);
        EXPECT_EQ(record.function, function);
        EXPECT_EQ(record.message, message);
        EXPECT_TRUE(endsWithPath(record.file, file)) << record.file;
        EXPECT_GT(record.line, 0U);
    }

    void expectSilent()
    {
        EXPECT_THAT(recorder->records(), testing::IsEmpty());
        recorder->clear();
    }

    /// A locked operation has left this error, and one record of it; the description begins so, and the system's text
    /// after it so.
    void expectReported(int code, const std::string& begin, const std::string& reason = "")
    {
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(error->getDomain(), "com.corvan.clientlibs.liblumstorage.error");
        EXPECT_EQ(error->getCode(), code);
        ASSERT_EQ(error->getUserInfo().size(), 2U);
        const auto* const text =
            std::any_cast<std::string>(&error->getUserInfo().at("LumErrorUnderlyingErrorDescription"));
        ASSERT_NE(text, nullptr);
        EXPECT_THAT(*text, testing::StartsWith(begin + " Error: " + reason));
        EXPECT_GT(text->size(), begin.size() + 8) << "the system's text follows";
        const auto* const number = std::any_cast<int>(&error->getUserInfo().at("LumErrorUnderlyingErrorCode"));
        ASSERT_NE(number, nullptr);
        expectError("setErrorAndLog", text->c_str());
    }

    const std::shared_ptr<RecordingLogger> recorder = std::make_shared<RecordingLogger>();
    LumStorage::LumFileManager files{recorder, std::make_shared<LumStorage::LumStdFilesystemWrapper>()};
    std::shared_ptr<LumUtils::ILumError> error;
};

} // namespace LumTests
