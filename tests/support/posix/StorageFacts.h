#pragma once

#include <cerrno>

/// What the tests of files expect of the system.

namespace LumTests::StorageFacts {

/// What a line feed becomes in a file that is written as text.
constexpr const char* kLineEnd = "\n";

/// Devices: one that takes everything, and one that has no room.
constexpr const char* kNullDevice = "/dev/null";
constexpr const char* kFullDevice = "/dev/full";

/// The codes of the locked operations on a device, which is no file.
constexpr int kDeviceReadCode = 1;
constexpr int kDeviceWriteCode = 1;

/// Whether a name may hold any character but a separator.
constexpr bool kTakesAnyName = true;

/// Whether a file that nobody may write can be deleted.
constexpr bool kDeletesReadOnlyFiles = true;

/// Whether the size of a file of 4 GiB or more is refused; else it is the lower half of the size.
constexpr bool kRefusesLargeSizes = true;

/// Numbers of the last error: the share modes of two opens exclude each other, a lock is held elsewhere, a path leads
/// nowhere or to a directory, a handle is none.
constexpr unsigned int kSharingViolation = EBUSY;
constexpr unsigned int kLockViolation = EAGAIN;
constexpr unsigned int kNoSuchPath = ENOENT;
constexpr unsigned int kIsDirectory = EISDIR;
constexpr unsigned int kNoFileHandle = EBADF;

} // namespace LumTests::StorageFacts
