#pragma once

#include "platform/posix/files/ShareMode.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace LumPlatform {

/// A regular file that is open with a share mode. It is made if it is not there. No other program that this process
/// starts inherits it. The calls return false with errno if they fail.
class OpenFile {
public:
    /// Waits only for a lease that another process has. Throws std::system_error: EBUSY if another open excludes this
    /// one, ENOTSUP for what is no regular file with an end, else the system's number.
    OpenFile(const std::string& path, FileUse uses, FileUse shared);

    /// Releases lock and share mode at once, although a forked child may still have a copy of the descriptor.
    ~OpenFile();
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    /// One lock at a time, on all of the file. EAGAIN: another holds it exclusively. EINVAL: this one is locked.
    bool TryLockShared();

    /// As TryLockShared, but waits for as long as another holds a lock.
    bool LockExclusive();

    /// EINVAL: there is no lock.
    bool Unlock();

    bool GetSize(std::uint64_t& size) const;

    /// Reads from the position on until so much is read or the file ends, which leaves ENODATA. `count` is what has
    /// been read, also on failure.
    bool Read(void* buffer, std::size_t size, std::size_t& count);

    /// Writes at the position. `count` is what has been written, also on failure.
    bool Write(const void* buffer, std::size_t size, std::size_t& count);

    void Rewind();

    /// Cuts the file off at the position.
    bool Truncate() const;

private:
    bool TakeLock(int (*take)(int, long long, long long));

    const FileUse uses;
    const int descriptor;
    std::atomic<std::size_t> position{0};
    std::atomic<bool> isLocked{false};
};

} // namespace LumPlatform
