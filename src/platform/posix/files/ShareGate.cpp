#include "platform/posix/files/ShareGate.h"

#include <cerrno>
#include <chrono>
#include <thread>

#include <linux/magic.h>
#include <sys/file.h>
#include <sys/vfs.h>

namespace LumPlatform {

namespace {

using Clock = std::chrono::steady_clock;

bool isOnFileSystemWithGate(int descriptor)
{
    struct statfs system = {};
    return fstatfs(descriptor, &system) == 0 && ShareGate::IsOn(static_cast<unsigned long>(system.f_type));
}

bool waitFor(int descriptor, int kind, std::chrono::milliseconds longest)
{
    constexpr int kSpins = 20;
    constexpr std::chrono::microseconds kPause(100);
    const Clock::time_point end = Clock::now() + longest;
    for (int tries = 0; flock(descriptor, kind | LOCK_NB) != 0; ++tries) {
        if ((errno != EWOULDBLOCK && errno != EINTR) || Clock::now() > end) {
            return false;
        }
        if (tries < kSpins) {
            std::this_thread::yield();
        } else {
            std::this_thread::sleep_for(kPause);
        }
    }
    return true;
}

bool take(int descriptor, ShareGate::Kind kind)
{
    // Who comes together with others comes because of a mark, and a deletion may take its time to write to the disk.
    constexpr std::chrono::milliseconds kLongestAlone(250);
    constexpr std::chrono::milliseconds kLongestTogether(2000);
    return kind == ShareGate::Kind::Alone ? waitFor(descriptor, LOCK_EX, kLongestAlone)
                                          : waitFor(descriptor, LOCK_SH, kLongestTogether);
}

} // namespace

ShareGate::ShareGate(int fileDescriptor, Kind kind)
    : descriptor(fileDescriptor), isHeld(isOnFileSystemWithGate(fileDescriptor) && take(fileDescriptor, kind))
{
}

ShareGate::~ShareGate()
{
    if (isHeld) {
        flock(descriptor, LOCK_UN);
    }
}

bool ShareGate::IsOn(unsigned long fileSystemType)
{
    constexpr unsigned long kCifs = 0xFF534D42;
    constexpr unsigned long kSmb2 = 0xFE534D42;
    switch (fileSystemType) {
    case NFS_SUPER_MAGIC:
    case SMB_SUPER_MAGIC:
    case kCifs:
    case kSmb2:
        // There flock is a record lock on the whole file, so it would meet the marks.
        return false;
    default:
        return true;
    }
}

} // namespace LumPlatform
