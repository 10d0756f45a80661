#include "Windows/storage/LockedFile.h"

#include "Windows/storage/LumStorageErrorUtilsWin.h"
#include "common/utils/LumTextUtils.h"
#include "platform/LumFileError.h"
#include "platform/LumMemory.h"

#include <limits>
#include <new>

namespace LumStorage {

namespace {

namespace Code = LumStorageErrorCode;

/// Both halves of the length of the range that is locked: everything.
constexpr DWORD kWholeRange = 0xFFFFFFFF;

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

std::string textOfFailedWrite(const std::string& path)
{
    return "Error writing the content to file '" + path + "'.";
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

} // namespace

/// Takes what the last platform call left. `base` makes the text that the system's is added to.
template <typename Base>
LockedFileResult LockedFile::failed(int code, Base base) const
{
    LockedFileResult result;
    result.code = code;
    try {
        const std::string text = LumStorageErrorUtilsWin::getLastErrorMessage(result.lastError);
        result.message = base() + " Error: " + text;
    } catch (const std::bad_alloc&) {
        result.message.clear();
    }
    return result;
}

LockedFileResult LockedFile::checkSize(const std::string& content) const
{
    if (content.size() <= std::numeric_limits<DWORD>::max()) {
        return {};
    }
    LumPlatform::SetLastFileError(std::errc::file_too_large);
    return failed(Code::kWriteFailed, [&] { return textOfFailedWrite(path); });
}

LockedFileResult LockedFile::openForReading()
{
    return open(FILE_SHARE_READ | FILE_SHARE_WRITE, "reading");
}

LockedFileResult LockedFile::openForWriting()
{
    return open(FILE_SHARE_READ, "writing");
}

LockedFileResult LockedFile::open(DWORD share, const char* purpose)
{
    file = openOrMake(path, share);
    if (file) {
        return {};
    }
    return failed(Code::kOpenFailed,
                  [&] { return "Error opening file '" + path + "' to acquire lock for " + purpose + "."; });
}

LockedFileResult LockedFile::truncate()
{
    if (SetFilePointer(file.get(), 0, nullptr, FILE_BEGIN) == INVALID_SET_FILE_POINTER) {
        return failed(Code::kSeekFailed,
                      [&] { return "Error setting file pointer to the beginning of the file '" + path + "'."; });
    }
    if (SetEndOfFile(file.get()) == FALSE) {
        return failed(Code::kTruncateFailed, [&] { return "Error truncating the file '" + path + "'."; });
    }
    return {};
}

LockedFileResult LockedFile::lockShared()
{
    return lock(LOCKFILE_FAIL_IMMEDIATELY);
}

LockedFileResult LockedFile::lockExclusive()
{
    return lock(LOCKFILE_EXCLUSIVE_LOCK);
}

LockedFileResult LockedFile::lock(DWORD flags)
{
    if (LockFileEx(file.get(), flags, 0, kWholeRange, kWholeRange, &range) != FALSE) {
        return {};
    }
    // A read's lock is not exclusive, but the text is what hosts look for.
    return failed(Code::kLockFailed, [&] { return "Error locking the file '" + path + "' exclusively."; });
}

LockedFileResult LockedFile::read(std::vector<char>& content)
{
    const DWORD size = GetFileSize(file.get(), nullptr);
    if (size == INVALID_FILE_SIZE) {
        return failed(Code::kSizeFailed, [&] { return "Error getting file size for '" + path + "'"; });
    }
    DWORD count = 0;
    if (!makeRoom(content, size) || ReadFile(file.get(), content.data(), size, &count, nullptr) == FALSE) {
        return failed(Code::kReadFailed, [&] { return "Error reading the content from file '" + path + "'."; });
    }
    if (count != size) {
        return failed(Code::kReadFailed, [&] {
            return "Error reading the content from file '" + path + "'. Actual bytes to read: " + std::to_string(size) +
                   ". Bytes read: " + std::to_string(count);
        });
    }
    return {};
}

LockedFileResult LockedFile::write(const std::string& content)
{
    const auto size = static_cast<DWORD>(content.size());
    DWORD count = 0;
    if (WriteFile(file.get(), content.data(), size, &count, nullptr) == FALSE) {
        return failed(Code::kWriteFailed, [&] { return textOfFailedWrite(path); });
    }
    if (count != size) {
        return failed(Code::kWriteFailed, [&] {
            return "Error writing the content to file '" + path + "'. Actual bytes to write: " + std::to_string(size) +
                   ". Bytes written: " + std::to_string(count);
        });
    }
    return {};
}

LockedFileResult LockedFile::unlock()
{
    if (UnlockFileEx(file.get(), 0, kWholeRange, kWholeRange, &range) != FALSE) {
        return {};
    }
    return failed(Code::kUnlockFailed, [&] { return "Error unlocking the file '" + path + "'."; });
}

} // namespace LumStorage
