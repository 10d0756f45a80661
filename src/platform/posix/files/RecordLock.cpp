#include "platform/posix/files/RecordLock.h"

#include "platform/posix/Retried.h"

#include <cstdio>

#include <fcntl.h>

namespace LumPlatform::RecordLock {

namespace {

int apply(int descriptor, int command, int type, long long start, long long length)
{
    struct flock lock = {};
    lock.l_type = static_cast<short>(type);
    lock.l_whence = SEEK_SET;
    lock.l_start = start;
    lock.l_len = length;
    const int result = Retried([&] { return fcntl(descriptor, command, &lock); });
    return result == 0 && command == F_OFD_GETLK ? static_cast<int>(lock.l_type != F_UNLCK) : result;
}

} // namespace

int TryShared(int descriptor, long long start, long long length)
{
    return apply(descriptor, F_OFD_SETLK, F_RDLCK, start, length);
}

int WaitExclusive(int descriptor, long long start, long long length)
{
    return apply(descriptor, F_OFD_SETLKW, F_WRLCK, start, length);
}

int Release(int descriptor, long long start, long long length)
{
    return apply(descriptor, F_OFD_SETLK, F_UNLCK, start, length);
}

int IsHeldElsewhere(int descriptor, long long start, long long length)
{
    // A lock that is asked for only, never taken, may be exclusive on a descriptor that cannot write.
    return apply(descriptor, F_OFD_GETLK, F_WRLCK, start, length);
}

} // namespace LumPlatform::RecordLock
