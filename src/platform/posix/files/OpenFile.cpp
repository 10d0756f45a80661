#include "platform/posix/files/OpenFile.h"

#include "platform/posix/Retried.h"
#include "platform/posix/files/RecordLock.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace LumPlatform {

namespace {

/// The marks of a share mode need a readable descriptor, so one that only writes is opened for both.
int openRegular(const std::string& path, bool writes)
{
    constexpr mode_t kWhatTheMaskAllows = 0666;
    // A FIFO, or a file under a lease, must not make the open wait.
    const int flags = (writes ? O_RDWR : O_RDONLY) | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    return Retried([&] { return open(path.c_str(), flags, kWhatTheMaskAllows); });
}

int kindError(int descriptor)
{
    struct stat status = {};
    if (fstat(descriptor, &status) != 0) {
        return errno;
    }
    return S_ISREG(status.st_mode) ? 0 : ENOTSUP;
}

void throwIf(int error)
{
    if (error != 0) {
        throw std::system_error(error, std::generic_category());
    }
}

bool fail(int error)
{
    errno = error;
    return false;
}

/// Calls with what has been moved so far until all is moved, or nothing is any more.
template <typename Move>
bool moveAll(std::size_t size, std::size_t& count, Move move)
{
    count = 0;
    while (count < size) {
        const ssize_t moved = Retried([&] { return move(count); });
        if (moved < 0) {
            return false;
        }
        if (moved == 0) {
            break;
        }
        count += static_cast<std::size_t>(moved);
    }
    return true;
}

} // namespace

OpenFile::OpenFile(const std::string& path, FileUse wantedUses, FileUse shared)
    : uses(wantedUses), descriptor(openRegular(path, wantedUses.writes))
{
    throwIf(kindError(descriptor.Get()));
    throwIf(ShareMode::Enter(descriptor.Get(), uses, shared));
}

OpenFile::~OpenFile()
{
    RecordLock::Release(descriptor.Get(), 0, ShareMode::kWholeRange);
}

bool OpenFile::TakeLock(int (*take)(int, long long, long long))
{
    if (isLocked.exchange(true)) {
        return fail(EINVAL);
    }
    if (take(descriptor.Get(), 0, ShareMode::kDataEnd) != 0) {
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
    return RecordLock::Release(descriptor.Get(), 0, ShareMode::kDataEnd) == 0;
}

bool OpenFile::GetSize(std::uint64_t& size) const
{
    struct stat status = {};
    if (fstat(descriptor.Get(), &status) != 0) {
        return false;
    }
    size = static_cast<std::uint64_t>(status.st_size);
    return true;
}

bool OpenFile::Read(void* buffer, std::size_t size, std::size_t& count) const
{
    if (!uses.reads) {
        count = 0;
        return fail(EBADF);
    }
    return moveAll(size, count, [&](std::size_t done) {
        return read(descriptor.Get(), static_cast<char*>(buffer) + done, size - done);
    });
}

bool OpenFile::Write(const void* buffer, std::size_t size, std::size_t& count) const
{
    return moveAll(size, count, [&](std::size_t done) {
        return write(descriptor.Get(), static_cast<const char*>(buffer) + done, size - done);
    });
}

bool OpenFile::Rewind() const
{
    return lseek(descriptor.Get(), 0, SEEK_SET) == 0;
}

bool OpenFile::Truncate() const
{
    const off_t position = lseek(descriptor.Get(), 0, SEEK_CUR);
    return position >= 0 && Retried([&] { return ftruncate(descriptor.Get(), position); }) == 0;
}

} // namespace LumPlatform
