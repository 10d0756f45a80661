#include "platform/LumFileError.h"
#include "platform/LumFileStream.h"
#include "platform/LumMemory.h"
#include "platform/LumRuntime.h"
#include "support/CallText.h"
#include "support/ScriptedPlatform.h"
#include "support/WithMemory.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

// The functions of the platform that have to do with files.

using LumTests::bytes;
using LumTests::hex;
using LumTests::platform;
using LumTests::pointer;
using LumTests::quoted;

namespace {

BOOL answer(bool succeeds)
{
    return succeeds ? TRUE : FALSE;
}

std::string range(DWORD reserved, DWORD lengthLow, DWORD lengthHigh, const OVERLAPPED* overlapped)
{
    return "reserved=" + std::to_string(reserved) + ", length=" + hex(lengthHigh) + ":" + hex(lengthLow) +
           ", offset=" + hex(overlapped->OffsetHigh) + ":" + hex(overlapped->Offset);
}

std::string named(const std::string& path)
{
    return bytes(path.data(), path.size());
}

/// How many of these bytes are moved.
DWORD moved(std::size_t size)
{
    return static_cast<DWORD>(size - std::min<std::size_t>(size, platform().missingBytes));
}

/// Where the streams that are open for reading stand.
std::size_t streamPosition = 0;

} // namespace

HANDLE CreateFileW(const WCHAR* name, DWORD access, DWORD share, std::nullptr_t security, DWORD disposition,
                   DWORD attributes, std::nullptr_t templateFile)
{
    const LumTests::WithMemory withMemory;
    const bool succeeds = platform().enter(
        "CreateFileW", quoted(name) + ", access=" + hex(access) + ", share=" + std::to_string(share) +
                           ", security=" + pointer(security) + ", disposition=" + std::to_string(disposition) +
                           ", attributes=" + hex(attributes) + ", template=" + pointer(templateFile));
    return succeeds ? platform().open("file") : INVALID_HANDLE_VALUE;
}

BOOL LockFileEx(HANDLE file, DWORD flags, DWORD reserved, DWORD lengthLow, DWORD lengthHigh, OVERLAPPED* overlapped)
{
    const LumTests::WithMemory withMemory;
    return answer(platform().enter("LockFileEx", platform().nameOf(file) + ", flags=" + std::to_string(flags) + ", " +
                                                     range(reserved, lengthLow, lengthHigh, overlapped)));
}

BOOL UnlockFileEx(HANDLE file, DWORD reserved, DWORD lengthLow, DWORD lengthHigh, OVERLAPPED* overlapped)
{
    const LumTests::WithMemory withMemory;
    return answer(platform().enter("UnlockFileEx", platform().nameOf(file) + ", " +
                                                       range(reserved, lengthLow, lengthHigh, overlapped)));
}

DWORD GetFileSize(HANDLE file, std::nullptr_t sizeHigh)
{
    const LumTests::WithMemory withMemory;
    return platform().enter("GetFileSize", platform().nameOf(file) + ", high=" + pointer(sizeHigh))
               ? static_cast<DWORD>(platform().fileContent.size())
               : INVALID_FILE_SIZE;
}

BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD size, DWORD* read, std::nullptr_t overlapped)
{
    const LumTests::WithMemory withMemory;
    if (!platform().enter("ReadFile", platform().nameOf(file) + ", size=" + std::to_string(size) +
                                          ", overlapped=" + pointer(overlapped))) {
        return FALSE;
    }
    *read = moved(size);
    if (*read != 0) {
        std::memcpy(buffer, platform().fileContent.data(), *read);
    }
    return TRUE;
}

BOOL WriteFile(HANDLE file, const void* buffer, DWORD size, DWORD* written, std::nullptr_t overlapped)
{
    const LumTests::WithMemory withMemory;
    if (!platform().enter("WriteFile", platform().nameOf(file) + ", " + bytes(buffer, size) +
                                           ", size=" + std::to_string(size) + ", overlapped=" + pointer(overlapped))) {
        return FALSE;
    }
    *written = moved(size);
    platform().fileContent.assign(static_cast<const char*>(buffer), *written);
    return TRUE;
}

DWORD SetFilePointer(HANDLE file, LONG distance, std::nullptr_t distanceHigh, DWORD method)
{
    const LumTests::WithMemory withMemory;
    return platform().enter("SetFilePointer", platform().nameOf(file) + ", distance=" + std::to_string(distance) +
                                                  ", high=" + pointer(distanceHigh) +
                                                  ", method=" + std::to_string(method))
               ? 0
               : INVALID_SET_FILE_POINTER;
}

BOOL SetEndOfFile(HANDLE file)
{
    const LumTests::WithMemory withMemory;
    return answer(platform().enter("SetEndOfFile", platform().nameOf(file)));
}

BOOL CloseHandle(HANDLE handle)
{
    const LumTests::WithMemory withMemory;
    return platform().enter("CloseHandle", platform().nameOf(handle)) ? platform().close(handle) : FALSE;
}

DWORD GetTempPathA(DWORD size, LPSTR buffer)
{
    const LumTests::WithMemory withMemory;
    if (!platform().enter("GetTempPathA", std::to_string(size) + ", buffer=" + pointer(buffer))) {
        return 0;
    }
    const std::string& folder = platform().temporaryFolder;
    if (folder.size() < size) {
        std::memcpy(buffer, folder.c_str(), folder.size() + 1);
    }
    return platform().temporaryFolderResult.value_or(static_cast<DWORD>(folder.size()));
}

namespace LumPlatform {

void ExpectFilling(void* /*memory*/, std::size_t /*size*/) {}

int Stat(const std::string& path)
{
    if (!platform().enterRuntime("Stat", named(path))) {
        return -1;
    }
    errno = ENOENT;
    return platform().existing.count(path) != 0 ? 0 : -1;
}

int Remove(const std::string& path)
{
    return platform().enterRuntime("Remove", named(path)) ? 0 : -1;
}

int Rename(const std::string& oldPath, const std::string& newPath)
{
    return platform().enterRuntime("Rename", named(oldPath) + ", " + named(newPath)) ? 0 : -1;
}

int MakeDirectory(const std::string& path)
{
    if (!platform().enterRuntime("MakeDirectory", named(path))) {
        return -1;
    }
    platform().existing.insert(path);
    return 0;
}

std::string StreamPath(const std::string& path)
{
    return path;
}

std::optional<std::string> ReadEnvironment(const std::string& name)
{
    platform().enter("ReadEnvironment", name);
    const auto found = platform().environment.find(name);
    return found == platform().environment.end() ? std::nullopt : std::optional<std::string>(found->second);
}

unsigned int FileErrorNumber(std::errc reason)
{
    return static_cast<unsigned int>(reason);
}

void SetLastFileError(std::errc reason)
{
    SetLastError(FileErrorNumber(reason));
}

FileStream::~FileStream()
{
    close();
}

bool FileStream::open(const std::string& path, Mode mode)
{
    const char* const use = mode == Mode::Read ? "read" : mode == Mode::WriteText ? "write text" : "write";
    if (!platform().enterRuntime("OpenStream", named(path) + ", " + use)) {
        return false;
    }
    streamPosition = 0;
    descriptor = mode == Mode::Read ? 1 : 2;
    return true;
}

std::int64_t FileStream::size()
{
    return platform().enterRuntime("StreamSize", "") ? static_cast<std::int64_t>(platform().fileContent.size()) : -1;
}

std::int64_t FileStream::read(char* buffer, std::size_t size)
{
    if (!platform().enterRuntime("ReadStream", std::to_string(size))) {
        return -1;
    }
    const std::string& content = platform().fileContent;
    const std::size_t available = moved(content.size() - streamPosition);
    const std::size_t count = std::min(size, available);
    std::memcpy(buffer, content.data() + streamPosition, count);
    streamPosition += count;
    return static_cast<std::int64_t>(count);
}

bool FileStream::write(const char* /*data*/, std::size_t size)
{
    return platform().enterRuntime("WriteStream", std::to_string(size));
}

bool FileStream::close()
{
    if (descriptor < 0) {
        return true;
    }
    descriptor = -1;
    return platform().enterRuntime("CloseStream", "");
}

} // namespace LumPlatform
