#include "platform/posix/files/RecordLock.h"

#include "platform/posix/Retried.h"

#include <cstdio>

#include <fcntl.h>

namespace LumPlatform::RecordLock {

namespace {

struct flock lockOf(int type, long long start, long long length)
{
    struct flock lock = {};
    lock.l_type = static_cast<short>(type);
    lock.l_whence = SEEK_SET;
    lock.l_start = start;
    lock.l_len = length;
    return lock;
}

int apply(int descriptor, int command, struct flock lock)
{
    return Retried([&] { return fcntl(descriptor, command, &lock); });
}

} // namespace

int TryShared(int descriptor, long long start, long long length)
{
    return apply(descriptor, F_OFD_SETLK, lockOf(F_RDLCK, start, length));
}

int WaitExclusive(int descriptor, long long start, long long length)
{
    return apply(descriptor, F_OFD_SETLKW, lockOf(F_WRLCK, start, length));
}

int Release(int descriptor, long long start, long long length)
{
    return apply(descriptor, F_OFD_SETLK, lockOf(F_UNLCK, start, length));
}

int FindElsewhere(int descriptor, long long start, long long length, long long& holderStart)
{
    // A lock that is asked for only, never taken, may be exclusive on a descriptor that cannot write.
    struct flock lock = lockOf(F_WRLCK, start, length);
    if (Retried([&] { return fcntl(descriptor, F_OFD_GETLK, &lock); }) != 0) {
        return -1;
    }
    holderStart = lock.l_start;
    return lock.l_type == F_UNLCK ? 0 : 1;
}

} // namespace LumPlatform::RecordLock
