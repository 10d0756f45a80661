#pragma once

#include <string>

/// What the tests of files expect of the system.

namespace LumTests::StorageFacts {

/// What a line feed becomes in a file that is written as text.
constexpr const char* kLineEnd = "\r\n";

/// Devices: one that takes everything, and one that has no room, which Wine shows of the system that it runs on.
constexpr const char* kNullDevice = "nul";
constexpr const char* kFullDevice = "Z:\\dev\\full";

/// A folder on another file system than that of the temporary folder, with the separator at its end.
constexpr const char* kOtherFileSystem = "Z:\\dev\\shm\\";

/// What the locked operations report of a device, which is no file.
constexpr int kDeviceReadCode = 4;
inline std::string deviceReadText(const std::string& device)
{
    return "Error locking the file '" + device + "' exclusively.";
}
constexpr int kDeviceWriteCode = 10;
inline std::string deviceWriteText(const std::string& device)
{
    return "Error truncating the file '" + device + "'.";
}

/// Whether a name may hold any character but a separator.
constexpr bool kTakesAnyName = false;

/// Whether std::filesystem fails on a path that is too long; else there is nothing under it.
constexpr bool kFilesystemFailsOnLongPaths = false;

/// Whether a file that nobody may write can be deleted.
constexpr bool kDeletesReadOnlyFiles = false;

/// Whether the size of a file of 4 GiB or more is refused; else it is the lower half of the size.
constexpr bool kRefusesLargeSizes = false;

/// The number of an error for which there is no memory.
constexpr int kNoMemory = 8;

/// Numbers of the last error: the share modes of two opens exclude each other, a lock is held elsewhere, a path leads
/// nowhere or to a directory, a handle is none, a file is too large to have a size, or has no room to grow.
constexpr unsigned int kSharingViolation = 32;
constexpr unsigned int kLockViolation = 33;
constexpr unsigned int kNoSuchPath = 3;
constexpr unsigned int kIsDirectory = 5;
constexpr unsigned int kNoFileHandle = 6;
constexpr unsigned int kErrorOfNoSize = 0;
constexpr unsigned int kNoRoom = 112;

} // namespace LumTests::StorageFacts
