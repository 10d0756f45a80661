#pragma once

#include "support/FileMode.h"

#include <gtest/gtest.h>

#include <string>

/// What the tests of the platform's file calls ask again and again.

namespace LumTests {

/// The last error of an open that must fail; 0, and the file closed, if it succeeds.
inline DWORD refusalOf(const std::string& path, const FileMode& mode)
{
    SetLastError(0);
    HANDLE const file = openFile(path, mode);
    const DWORD error = GetLastError();
    return file != INVALID_HANDLE_VALUE && CloseHandle(file) ? 0 : error;
}

template <typename Call>
void expectFailure(Call call, DWORD error)
{
    SetLastError(0);
    EXPECT_FALSE(call());
    EXPECT_EQ(GetLastError(), error);
}

/// Every call but CloseHandle fails with that error.
inline void expectNoUseOf(HANDLE file, DWORD error)
{
    char buffer[1] = {};
    DWORD count = 0;
    expectFailure([&] { return lockFile(file, false); }, error);
    expectFailure([&] { return unlockFile(file); }, error);
    expectFailure([&] { return GetFileSize(file, nullptr) != INVALID_FILE_SIZE; }, error);
    expectFailure([&] { return ReadFile(file, buffer, 1, &count, nullptr); }, error);
    expectFailure([&] { return WriteFile(file, buffer, 1, &count, nullptr); }, error);
    expectFailure([&] { return SetFilePointer(file, 0, nullptr, FILE_BEGIN) != INVALID_SET_FILE_POINTER; }, error);
    expectFailure([&] { return SetEndOfFile(file); }, error);
}

/// Whether all of the content was written.
inline bool writeTo(HANDLE file, const std::string& content)
{
    DWORD count = 0;
    return WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &count, nullptr) &&
           count == content.size();
}

/// Reads the file from its begin.
inline std::string contentOf(HANDLE file)
{
    std::string content(GetFileSize(file, nullptr), '\0');
    DWORD count = 0;
    EXPECT_EQ(SetFilePointer(file, 0, nullptr, FILE_BEGIN), 0U);
    EXPECT_TRUE(ReadFile(file, content.data(), static_cast<DWORD>(content.size()), &count, nullptr));
    EXPECT_EQ(count, content.size());
    return content;
}

} // namespace LumTests
