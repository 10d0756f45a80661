#include "platform/posix/files/OpenFile.h"

#include "platform/posix/Retried.h"
#include "platform/posix/files/RecordLock.h"
#include "platform/posix/files/SharedOpen.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace LumPlatform {

namespace {

/// The marks of a share mode need a readable descriptor, so one that only writes is opened for both.
int openOrThrow(const std::string& path, FileUse uses, FileUse shared)
{
    struct stat status = {};
    const int descriptor =
        OpenShared(path, {uses.writes ? O_RDWR : O_RDONLY, true, uses, shared, ShareMode::Without::Fails}, status);
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category());
    }
    return descriptor;
}

bool fail(int error)
{
    errno = error;
    return false;
}

/// Calls with the offset of what is still to be moved until all is moved, or nothing is any more. What has been moved
/// is behind the position then.
template <typename Move>
bool moveAll(std::atomic<std::size_t>& position, std::size_t size, std::size_t& count, Move move)
{
    const std::size_t start = position;
    ssize_t moved = 1;
    for (count = 0; count < size && moved > 0;) {
        moved = Retried([&] { return move(count, static_cast<off_t>(start + count)); });
        count += static_cast<std::size_t>(std::max<ssize_t>(moved, 0));
    }
    position = start + count;
    return moved >= 0;
}

} // namespace

OpenFile::OpenFile(const std::string& path, FileUse wantedUses, FileUse shared)
    : uses(wantedUses), descriptor(openOrThrow(path, wantedUses, shared))
{
}

OpenFile::~OpenFile()
{
    CloseShared(descriptor);
}

bool OpenFile::TakeLock(int (*take)(int, long long, long long))
{
    if (isLocked.exchange(true)) {
        return fail(EINVAL);
    }
    if (take(descriptor, 0, ShareMode::kDataEnd) != 0) {
        isLocked = false;
        return false;
    }
    return true;
}

bool OpenFile::TryLockShared()
{
    return TakeLock(RecordLock::TryShared);
}

bool OpenFile::LockExclusive()
{
    return TakeLock(RecordLock::WaitExclusive);
}

bool OpenFile::Unlock()
{
    if (!isLocked.exchange(false)) {
        return fail(EINVAL);
    }
    return RecordLock::Release(descriptor, 0, ShareMode::kDataEnd) == 0;
}

bool OpenFile::GetSize(std::uint64_t& size) const
{
    struct stat status = {};
    if (fstat(descriptor, &status) != 0) {
        return false;
    }
    size = static_cast<std::uint64_t>(status.st_size);
    return true;
}

bool OpenFile::Read(void* buffer, std::size_t size, std::size_t& count)
{
    if (!uses.reads) {
        count = 0;
        return fail(EBADF);
    }
    const bool isDone = moveAll(position, size, count, [&](std::size_t done, off_t offset) {
        return pread(descriptor, static_cast<char*>(buffer) + done, size - done, offset);
    });
    if (isDone && count < size) {
        errno = ENODATA;
    }
    return isDone;
}

bool OpenFile::Write(const void* buffer, std::size_t size, std::size_t& count)
{
    return moveAll(position, size, count, [&](std::size_t done, off_t offset) {
        return pwrite(descriptor, static_cast<const char*>(buffer) + done, size - done, offset);
    });
}

void OpenFile::Rewind()
{
    position = 0;
}

bool OpenFile::Truncate() const
{
    return Retried([&] { return ftruncate(descriptor, static_cast<off_t>(position)); }) == 0;
}

} // namespace LumPlatform
