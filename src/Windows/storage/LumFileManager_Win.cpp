#include "common/storage/LumFileManager.h"

#include "Windows/storage/FileHandle.h"
#include "Windows/storage/LumStorageErrorUtilsWin.h"
#include "common/storage/LumStorageError.h"
#include "common/utils/LumLog.h"
#include "common/utils/LumTextUtils.h"
#include "platform/LumFileError.h"
#include "platform/LumMemory.h"
#include "platform/LumPlatform.h"
#include "platform/LumRuntime.h"

#include <limits>
#include <new>
#include <optional>
#include <utility>

namespace LumStorage {

namespace {

using LumStorageErrorUtilsWin::getLastErrorMessage;

/// Both halves of the length of the range that is locked: everything.
constexpr DWORD kWholeRange = 0xFFFFFFFF;

/// What is to be reported at the end of an operation.
class Failure {
public:
    bool hasCode() const { return code != LumStorageErrorCode::kNone; }

    /// Takes what the last platform call left, under the given code. `base` makes the message that the system's text
    /// is added to.
    template <typename Base>
    void take(int newCode, Base base)
    {
        code = newCode;
        takeMessage(base);
    }

    /// As take, but the code stays as it is. The last error is read before anything can change it. Without memory for
    /// the text the number is still reported.
    template <typename Base>
    void takeMessage(Base base)
    {
        try {
            const std::string text = getLastErrorMessage(lastError);
            message = base() + " Error: " + text;
        } catch (const std::bad_alloc&) {
            message.clear();
        }
    }

    void reportThrough(LumFileManager& files, std::shared_ptr<LumUtils::ILumError>& errorOut) const
    {
        files.setErrorAndLog(code, lastError, message, errorOut);
    }

private:
    int code = LumStorageErrorCode::kNone;
    DWORD lastError = 0;
    std::string message;
};

/// Each byte of the path as one unit, sign-extended: the name means no character set.
LumUtils::WideString widened(const std::string& path)
{
    LumUtils::WideString wide;
    wide.reserve(path.size());
    for (const char byte : path) {
        wide += static_cast<LumUtils::WideChar>(static_cast<signed char>(byte));
    }
    return wide;
}

/// Empty, with the last error set, if the file cannot be opened.
FileHandle openOrMake(const std::string& path, DWORD share)
{
    if (path.find('\0') != std::string::npos) {
        LumPlatform::SetLastFileError(std::errc::invalid_argument);
        return {};
    }
    try {
        return ownedFile(CreateFileW(widened(path).c_str(), GENERIC_READ | GENERIC_WRITE, share, nullptr, OPEN_ALWAYS,
                                     FILE_ATTRIBUTE_NORMAL, nullptr));
    } catch (const std::bad_alloc&) {
        LumPlatform::SetLastFileError(std::errc::not_enough_memory);
        return {};
    }
}

/// Sizes the vector; false, with the last error set, if there is no memory for it.
bool makeRoom(std::vector<char>& content, DWORD size)
{
    try {
        LumPlatform::ReserveToFill(content, size);
        content.resize(size);
        return true;
    } catch (const std::exception&) {
        LumPlatform::SetLastFileError(std::errc::not_enough_memory);
        return false;
    }
}

void readUnlocked(HANDLE file, const std::string& path, std::vector<char>& content, Failure& failure)
{
    const DWORD size = GetFileSize(file, nullptr);
    if (size == INVALID_FILE_SIZE) {
        failure.take(LumStorageErrorCode::kSizeFailed, [&] { return "Error getting file size for '" + path + "'"; });
        return;
    }
    DWORD count = 0;
    if (!makeRoom(content, size) || ReadFile(file, content.data(), size, &count, nullptr) == FALSE) {
        failure.take(LumStorageErrorCode::kReadFailed,
                     [&] { return "Error reading the content from file '" + path + "'."; });
    } else if (count != size) {
        failure.take(LumStorageErrorCode::kReadFailed, [&] {
            return "Error reading the content from file '" + path + "'. Actual bytes to read: " + std::to_string(size) +
                   ". Bytes read: " + std::to_string(count);
        });
    }
}

void writeUnlocked(HANDLE file, const std::string& path, const std::string& content, Failure& failure)
{
    const auto size = static_cast<DWORD>(content.size());
    DWORD count = 0;
    if (WriteFile(file, content.data(), size, &count, nullptr) == FALSE) {
        failure.take(LumStorageErrorCode::kWriteFailed,
                     [&] { return "Error writing the content to file '" + path + "'."; });
    } else if (count != size) {
        failure.take(LumStorageErrorCode::kWriteFailed, [&] {
            return "Error writing the content to file '" + path + "'. Actual bytes to write: " + std::to_string(size) +
                   ". Bytes written: " + std::to_string(count);
        });
    }
}

/// Whether the file is locked with these flags; else the failure says why not.
bool lock(HANDLE file, DWORD flags, OVERLAPPED& range, const std::string& path, Failure& failure)
{
    if (LockFileEx(file, flags, 0, kWholeRange, kWholeRange, &range) != FALSE) {
        return true;
    }
    // A read's lock is not exclusive, but the text is what hosts look for.
    failure.take(LumStorageErrorCode::kLockFailed,
                 [&] { return "Error locking the file '" + path + "' exclusively."; });
    return false;
}

bool unlock(HANDLE file, OVERLAPPED& range)
{
    return UnlockFileEx(file, 0, kWholeRange, kWholeRange, &range) != FALSE;
}

/// Empties the file, before it is locked.
bool truncate(HANDLE file, const std::string& path, Failure& failure)
{
    if (SetFilePointer(file, 0, nullptr, FILE_BEGIN) == INVALID_SET_FILE_POINTER) {
        failure.take(LumStorageErrorCode::kSeekFailed,
                     [&] { return "Error setting file pointer to the beginning of the file '" + path + "'."; });
        return false;
    }
    if (SetEndOfFile(file) == FALSE) {
        failure.take(LumStorageErrorCode::kTruncateFailed, [&] { return "Error truncating the file '" + path + "'."; });
        return false;
    }
    return true;
}

/// Whether one call can write as much; else the last error says why not.
bool fitsOneWrite(const std::string& content)
{
    if (content.size() <= std::numeric_limits<DWORD>::max()) {
        return true;
    }
    LumPlatform::SetLastFileError(std::errc::file_too_large);
    return false;
}

/// The system's directory for temporary files, or nothing, with the last error set.
std::optional<std::string> systemTempDirectory()
{
    constexpr DWORD kBufferSize = 260;
    char buffer[kBufferSize] = {};
    const DWORD length = GetTempPathA(kBufferSize, buffer);
    if (length == 0 || length >= kBufferSize) {
        return std::nullopt;
    }
    return std::string(buffer, length);
}

/// The record is lost if the logger throws.
void reportTempPathFailure(const std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>& logger)
{
    try {
        LumStorageErrorUtilsWin::logWindowsErrorWithDelegate("GetTempPathA", logger);
    } catch (...) {
    }
}

} // namespace

std::vector<char> LumFileManager::readFileContentWithLock(const std::string& path,
                                                          std::shared_ptr<LumUtils::ILumError>& errorOut)
{
    errorOut.reset();
    std::vector<char> content;
    Failure failure;
    FileHandle file = openOrMake(path, FILE_SHARE_READ | FILE_SHARE_WRITE);
    OVERLAPPED range = {};
    if (!file) {
        failure.take(LumStorageErrorCode::kOpenFailed,
                     [&] { return "Error opening file '" + path + "' to acquire lock for reading."; });
    } else if (lock(file.get(), LOCKFILE_FAIL_IMMEDIATELY, range, path, failure)) {
        readUnlocked(file.get(), path, content, failure);
        if (!failure.hasCode()) {
            LUM_TRY_LOG_TEXT(logger, Info, "LumStorage::LumFileManager::readFileContentWithLock",
                             "Successfully read content from file '" + path + "'.");
        }
        if (!unlock(file.get(), range)) {
            // What was read is whole, so this is no failure of its own; after another it is what is told.
            failure.takeMessage([&] { return "Error unlocking the file '" + path + "'."; });
        }
    }
    file.reset();
    if (failure.hasCode()) {
        failure.reportThrough(*this, errorOut);
        return {};
    }
    return content;
}

bool LumFileManager::writeFileContentWithLock(const std::string& path, const std::string& content,
                                              std::shared_ptr<LumUtils::ILumError>& errorOut)
{
    errorOut.reset();
    Failure failure;
    FileHandle file;
    OVERLAPPED range = {};
    if (!fitsOneWrite(content)) {
        failure.take(LumStorageErrorCode::kWriteFailed,
                     [&] { return "Error writing the content to file '" + path + "'."; });
    } else if (!(file = openOrMake(path, FILE_SHARE_READ))) {
        failure.take(LumStorageErrorCode::kOpenFailed,
                     [&] { return "Error opening file '" + path + "' to acquire lock for writing."; });
    } else if (truncate(file.get(), path, failure) && lock(file.get(), LOCKFILE_EXCLUSIVE_LOCK, range, path, failure)) {
        writeUnlocked(file.get(), path, content, failure);
        if (!failure.hasCode()) {
            LUM_TRY_LOG_TEXT(logger, Info, "LumStorage::LumFileManager::writeFileContentWithLock",
                             "Successfully wrote content to file '" + path + "'");
        }
        if (!unlock(file.get(), range)) {
            failure.take(LumStorageErrorCode::kUnlockFailed,
                         [&] { return "Error unlocking the file '" + path + "'."; });
        }
    }
    file.reset();
    if (failure.hasCode()) {
        failure.reportThrough(*this, errorOut);
    }
    return !failure.hasCode();
}

std::string LumFileManager::getTempDirectoryPath()
{
    try {
        if (std::optional<std::string> directory = systemTempDirectory()) {
            return *std::move(directory);
        }
        reportTempPathFailure(logger);
        if (const std::optional<std::string> directory = LumPlatform::ReadEnvironment("TEMP")) {
            return *directory + "\\";
        }
    } catch (const std::bad_alloc&) { // for the directory's name, which the default one does not need
    }
    LUM_TRY_LOG(logger, Warning, "LumStorage::LumFileManager::getTempDirectoryPath",
                "Failed to get temp directory path. Using default as C:\\temp\\.");
    return "C:\\temp\\";
}

} // namespace LumStorage
