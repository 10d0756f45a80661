#include "platform/LumRuntime.h"
#include "platform/posix/HandleTable.h"
#include "platform/posix/PosixPlatform.h"
#include "platform/posix/files/OpenFile.h"

#include <cstring>
#include <limits>
#include <new>
#include <string_view>

/// The file calls: each checks what it was given against the closed list and hands over to the object behind the
/// handle.

namespace {

using namespace LumPlatform;

using FileHandleTable = HandleTable<OpenFile, HandleKind::File>;

FileHandleTable& openFiles()
{
    // Never destroyed: handles may be closed by whatever is destroyed last.
    static auto& table = *new FileHandleTable;
    return table;
}

BOOL fail(DWORD error)
{
    SetLastError(error);
    return FALSE;
}

BOOL failUnlisted()
{
    return fail(ERROR_INVALID_PARAMETER);
}

/// The path that UTF-16 text names: the same text in UTF-8, with slashes for backslashes. Empty if it is no valid
/// UTF-16, and for the empty text.
std::string pathOf(std::u16string_view text)
{
    constexpr std::size_t kLongestUnit = 3;
    std::string path(text.size() * kLongestUnit, '\0');
    const int size =
        text.empty() ? 0
                     : WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), static_cast<int>(text.size()),
                                           path.data(), static_cast<int>(path.size()), nullptr, nullptr);
    path.resize(static_cast<std::size_t>(size));
    return StreamPath(path);
}

/// A path that is longer than any system takes; its length need not fit into an int.
constexpr std::size_t kLongestPath = 32767;

HANDLE openFile(std::u16string_view name, DWORD access, DWORD share)
{
    if (name.size() > kLongestPath) {
        throw std::system_error(ENAMETOOLONG, std::generic_category());
    }
    const std::string path = pathOf(name);
    if (path.empty() && !name.empty()) {
        throw std::system_error(EILSEQ, std::generic_category());
    }
    const FileUse uses = {(access & GENERIC_READ) != 0, (access & GENERIC_WRITE) != 0};
    const FileUse shared = {(share & FILE_SHARE_READ) != 0, (share & FILE_SHARE_WRITE) != 0};
    return openFiles().Add(std::make_shared<OpenFile>(path, uses, shared));
}

template <typename Call>
BOOL onFile(HANDLE handle, Call call)
{
    const std::shared_ptr<OpenFile> file = openFiles().Find(handle);
    return file ? call(*file) : fail(EBADF);
}

BOOL resultOf(bool isDone)
{
    return isDone ? TRUE : FALSE;
}

bool isWholeRange(DWORD lengthLow, DWORD lengthHigh, const OVERLAPPED* overlapped)
{
    constexpr DWORD kAll = std::numeric_limits<DWORD>::max();
    return lengthLow == kAll && lengthHigh == kAll && overlapped != nullptr && overlapped->Offset == 0 &&
           overlapped->OffsetHigh == 0;
}

/// Without separators at its end, but for the one that the caller is to append.
std::string temporaryFolder()
{
    std::string folder = ReadEnvironment("TMPDIR").value_or("");
    if (folder.empty()) {
        folder = "/tmp";
    }
    folder.resize(folder.find_last_not_of("/\\") + 1);
    return folder;
}

} // namespace

HANDLE CreateFileW(const WCHAR* name, DWORD access, DWORD share, std::nullptr_t /*security*/, DWORD disposition,
                   DWORD attributes, std::nullptr_t /*templateFile*/)
{
    constexpr DWORD kAccess = GENERIC_READ | GENERIC_WRITE;
    constexpr DWORD kShare = FILE_SHARE_READ | FILE_SHARE_WRITE;
    if (name == nullptr || access == 0 || (access & ~kAccess) != 0 || (share & ~kShare) != 0 ||
        disposition != OPEN_ALWAYS || attributes != FILE_ATTRIBUTE_NORMAL) {
        failUnlisted();
        return INVALID_HANDLE_VALUE;
    }
    DWORD error = 0;
    try {
        return openFile(name, access, share);
    } catch (const std::system_error& failure) {
        error = static_cast<DWORD>(failure.code().value());
    } catch (const std::bad_alloc&) {
        error = ENOMEM;
    }
    SetLastError(error);
    return INVALID_HANDLE_VALUE;
}

BOOL LockFileEx(HANDLE file, DWORD flags, DWORD reserved, DWORD lengthLow, DWORD lengthHigh, OVERLAPPED* overlapped)
{
    const bool isListed = flags == LOCKFILE_FAIL_IMMEDIATELY || flags == LOCKFILE_EXCLUSIVE_LOCK;
    if (!isListed || reserved != 0 || !isWholeRange(lengthLow, lengthHigh, overlapped)) {
        return failUnlisted();
    }
    return onFile(file, [&](OpenFile& open) {
        return resultOf(flags == LOCKFILE_EXCLUSIVE_LOCK ? open.LockExclusive() : open.TryLockShared());
    });
}

BOOL UnlockFileEx(HANDLE file, DWORD reserved, DWORD lengthLow, DWORD lengthHigh, OVERLAPPED* overlapped)
{
    if (reserved != 0 || !isWholeRange(lengthLow, lengthHigh, overlapped)) {
        return failUnlisted();
    }
    return onFile(file, [](OpenFile& open) { return resultOf(open.Unlock()); });
}

DWORD GetFileSize(HANDLE file, std::nullptr_t /*sizeHigh*/)
{
    std::uint64_t size = 0;
    if (!onFile(file, [&](const OpenFile& open) { return resultOf(open.GetSize(size)); })) {
        return INVALID_FILE_SIZE;
    }
    if (size >= INVALID_FILE_SIZE) {
        SetLastError(EFBIG);
        return INVALID_FILE_SIZE;
    }
    return static_cast<DWORD>(size);
}

BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD size, DWORD* read, std::nullptr_t /*overlapped*/)
{
    if (read == nullptr) {
        return failUnlisted();
    }
    std::size_t count = 0;
    const BOOL result = onFile(file, [&](OpenFile& open) { return resultOf(open.Read(buffer, size, count)); });
    *read = static_cast<DWORD>(count);
    return result;
}

BOOL WriteFile(HANDLE file, const void* buffer, DWORD size, DWORD* written, std::nullptr_t /*overlapped*/)
{
    if (written == nullptr) {
        return failUnlisted();
    }
    std::size_t count = 0;
    const BOOL result = onFile(file, [&](OpenFile& open) { return resultOf(open.Write(buffer, size, count)); });
    *written = static_cast<DWORD>(count);
    return result;
}

DWORD SetFilePointer(HANDLE file, LONG distance, std::nullptr_t /*distanceHigh*/, DWORD method)
{
    if (distance != 0 || method != FILE_BEGIN) {
        failUnlisted();
        return INVALID_SET_FILE_POINTER;
    }
    const auto rewind = [](OpenFile& open) {
        open.Rewind();
        return TRUE;
    };
    return onFile(file, rewind) ? 0 : INVALID_SET_FILE_POINTER;
}

BOOL SetEndOfFile(HANDLE file)
{
    return onFile(file, [](const OpenFile& open) { return resultOf(open.Truncate()); });
}

BOOL CloseHandle(HANDLE handle)
{
    return openFiles().Remove(handle) ? TRUE : fail(EBADF);
}

DWORD GetTempPathA(DWORD size, LPSTR buffer)
{
    if (buffer == nullptr) {
        failUnlisted();
        return 0;
    }
    try {
        // The separator that callers of this name expect; this layer takes either.
        const std::string path = temporaryFolder() + "\\";
        if (path.size() >= size) {
            SetLastError(ENAMETOOLONG);
            return static_cast<DWORD>(path.size() + 1);
        }
        std::memcpy(buffer, path.c_str(), path.size() + 1);
        return static_cast<DWORD>(path.size());
    } catch (const std::bad_alloc&) {
        SetLastError(ENOMEM);
        return 0;
    }
}
