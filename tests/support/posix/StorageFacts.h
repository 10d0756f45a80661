#pragma once

#include <cerrno>
#include <string>

/// What the tests of files expect of the system.

namespace LumTests::StorageFacts {

/// What a line feed becomes in a file that is written as text.
constexpr const char* kLineEnd = "\n";

/// Devices: one that takes everything, and one that has no room.
constexpr const char* kNullDevice = "/dev/null";
constexpr const char* kFullDevice = "/dev/full";

/// A folder on another file system than that of the temporary folder, with the separator at its end.
constexpr const char* kOtherFileSystem = "/dev/shm/";

/// What the locked operations report of a device, which is no file.
constexpr int kDeviceReadCode = 1;
inline std::string deviceReadText(const std::string& device)
{
    return "Error opening file '" + device + "' to acquire lock for reading.";
}
constexpr int kDeviceWriteCode = 1;
inline std::string deviceWriteText(const std::string& device)
{
    return "Error opening file '" + device + "' to acquire lock for writing.";
}

/// Whether a name may hold any character but a separator.
constexpr bool kTakesAnyName = true;

/// Whether std::filesystem fails on a path that is too long; else there is nothing under it.
constexpr bool kFilesystemFailsOnLongPaths = true;

/// Whether a file that nobody may write can be deleted.
constexpr bool kDeletesReadOnlyFiles = true;

/// Whether the size of a file of 4 GiB or more is refused; else it is the lower half of the size.
constexpr bool kRefusesLargeSizes = true;

/// The number of an error for which there is no memory.
constexpr int kNoMemory = ENOMEM;

/// Numbers of the last error: the share modes of two opens exclude each other, a lock is held elsewhere, a path leads
/// nowhere or to a directory, a handle is none, a file is too large to have a size, or has no room to grow.
constexpr unsigned int kSharingViolation = EBUSY;
constexpr unsigned int kLockViolation = EAGAIN;
constexpr unsigned int kNoSuchPath = ENOENT;
constexpr unsigned int kIsDirectory = EISDIR;
constexpr unsigned int kNoFileHandle = EBADF;
constexpr unsigned int kErrorOfNoSize = EFBIG;
constexpr unsigned int kNoRoom = ENOSPC;

} // namespace LumTests::StorageFacts
