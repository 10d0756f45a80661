#include "common/storage/LumFileManager.h"

#include "Windows/storage/LockedFile.h"
#include "Windows/storage/LumStorageErrorUtilsWin.h"
#include "common/utils/LumLog.h"
#include "platform/LumPlatform.h"
#include "platform/LumRuntime.h"

#include <new>
#include <optional>
#include <utility>

namespace LumStorage {

namespace {

using Logger = std::shared_ptr<LumUtils::ILumUtilsLoggerDelegate>;

/// What the locked read does with the file, which is closed at its end.
LockedFileResult readLocked(const std::string& path, std::vector<char>& content, const Logger& logger)
{
    LockedFile file(path);
    if (LockedFileResult opened = file.openForReading(); !opened.isGood()) {
        return opened;
    }
    if (LockedFileResult locked = file.lockShared(); !locked.isGood()) {
        return locked;
    }
    LockedFileResult result = file.read(content);
    if (result.isGood()) {
        LUM_TRY_LOG_TEXT(logger, Info, "LumStorage::LumFileManager::readFileContentWithLock",
                         "Successfully read content from file '" + path + "'.");
    }
    if (LockedFileResult unlocked = file.unlock(); !unlocked.isGood()) {
        // What was read is whole, so this is no failure of its own; after another it is what is told.
        unlocked.code = result.code;
        return unlocked;
    }
    return result;
}

/// What the locked write does with the file, which is closed at its end.
LockedFileResult writeLocked(const std::string& path, const std::string& content, const Logger& logger)
{
    LockedFile file(path);
    if (LockedFileResult fits = file.checkSize(content); !fits.isGood()) {
        return fits;
    }
    if (LockedFileResult opened = file.openForWriting(); !opened.isGood()) {
        return opened;
    }
    if (LockedFileResult truncated = file.truncate(); !truncated.isGood()) {
        return truncated;
    }
    if (LockedFileResult locked = file.lockExclusive(); !locked.isGood()) {
        return locked;
    }
    LockedFileResult result = file.write(content);
    if (result.isGood()) {
        LUM_TRY_LOG_TEXT(logger, Info, "LumStorage::LumFileManager::writeFileContentWithLock",
                         "Successfully wrote content to file '" + path + "'");
    }
    if (LockedFileResult unlocked = file.unlock(); !unlocked.isGood()) {
        return unlocked;
    }
    return result;
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
    const LockedFileResult result = readLocked(path, content, logger);
    if (result.isGood()) {
        return content;
    }
    setErrorAndLog(result.code, result.lastError, result.message, errorOut);
    return {};
}

bool LumFileManager::writeFileContentWithLock(const std::string& path, const std::string& content,
                                              std::shared_ptr<LumUtils::ILumError>& errorOut)
{
    errorOut.reset();
    const LockedFileResult result = writeLocked(path, content, logger);
    if (!result.isGood()) {
        setErrorAndLog(result.code, result.lastError, result.message, errorOut);
    }
    return result.isGood();
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
